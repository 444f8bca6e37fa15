# Manual pages, completion, documents and examples, for who installs the command.
set(pages)
foreach(section 1 3)
  set(page ${PROJECT_BINARY_DIR}/man/fileref.${section})
  add_custom_command(OUTPUT ${page}
    COMMAND ${CMAKE_COMMAND} -DCOMMAND=$<TARGET_FILE:fileref_command>
            -DEXAMPLE=${PROJECT_SOURCE_DIR}/examples/sum/sum.cpp
            -DTEMPLATE=${PROJECT_SOURCE_DIR}/man/fileref.${section}.in -DPAGE=${page}
            -DVERSION=${PROJECT_VERSION} -DDOCDIR=${CMAKE_INSTALL_FULL_DOCDIR}
            -DINCLUDEDIR=${CMAKE_INSTALL_FULL_INCLUDEDIR}
            -P ${PROJECT_SOURCE_DIR}/cmake/manual.cmake
    DEPENDS fileref_command cmake/manual.cmake man/fileref.${section}.in examples/sum/sum.cpp
    VERBATIM)
  list(APPEND pages ${page})
  install(FILES ${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section})
endforeach()
add_custom_target(fileref_pages ALL DEPENDS ${pages})

install(FILES completion/fileref.bash RENAME fileref
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
install(FILES completion/_fileref DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
install(FILES completion/fileref.fish
        DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
install(FILES README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs examples DESTINATION ${CMAKE_INSTALL_DOCDIR})
