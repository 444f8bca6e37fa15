# The access-method module. Its objects stand alone as well, so that tests can reach its internal
# routines.
add_library(qenxbams_objects OBJECT
  dsup/src/vmsupprt.cpp
  dsup/src/vvimodcn.cpp
  dsup/src/vvipgmcn.cpp
  dsup/src/vzatl.cpp
  dsup/src/wztxxlt.cpp
  UNX/src/himodcn.cpp
  hostcm/src/wzstcat.cpp
  hostcm/src/wzstcom.cpp
  hostcm/src/wzstlen.cpp
  hostcm/src/wzstndx.cpp
  hostcm/src/wzstpos.cpp
  hostcm/src/wzstrpq.cpp
  sup/src/yxsftp/answer.cpp
  sup/src/yxsftp/assign.cpp
  sup/src/yxsftp/close.cpp
  sup/src/yxsftp/commands.cpp
  sup/src/yxsftp/directory.cpp
  sup/src/yxsftp/exists.cpp
  sup/src/yxsftp/famb.cpp
  sup/src/yxsftp/ffcb.cpp
  sup/src/yxsftp/flcb.cpp
  sup/src/yxsftp/information.cpp
  sup/src/yxsftp/keywords.cpp
  sup/src/yxsftp/launch.cpp
  sup/src/yxsftp/listing.cpp
  sup/src/yxsftp/listing_names.cpp
  sup/src/yxsftp/member.cpp
  sup/src/yxsftp/mget.cpp
  sup/src/yxsftp/names.cpp
  sup/src/yxsftp/open.cpp
  sup/src/yxsftp/parse.cpp
  sup/src/yxsftp/qenxbams.cpp
  sup/src/yxsftp/records.cpp
  sup/src/yxsftp/setup.cpp
  sup/src/yxsftp/tempfile.cpp
)
set_property(SOURCE dsup/src/vvipgmcn.cpp APPEND PROPERTY COMPILE_DEFINITIONS
             FILEREF_VERSION="${PROJECT_VERSION}"
             FILEREF_RELEASE="${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}")
target_include_directories(qenxbams_objects PUBLIC ${PROJECT_SOURCE_DIR})
target_compile_options(qenxbams_objects PRIVATE -fno-exceptions -fno-rtti -fvisibility=hidden
                       -fvisibility-inlines-hidden)
target_link_libraries(qenxbams_objects PRIVATE fileref_warnings)

add_library(qenxbams MODULE)
target_link_libraries(qenxbams PRIVATE qenxbams_objects fileref_warnings)
set_target_properties(qenxbams PROPERTIES PREFIX "" LINKER_LANGUAGE CXX)
target_link_options(qenxbams PRIVATE
  -Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/qenxbams.map -Wl,--as-needed -Wl,-z,relro,-z,now)
set_property(TARGET qenxbams APPEND PROPERTY LINK_DEPENDS
             ${PROJECT_SOURCE_DIR}/cmake/qenxbams.map)
if(NOT FILEREF_SANITIZE)
  target_link_options(qenxbams PRIVATE -Wl,--no-undefined)
endif()
add_library(fileref::qenxbams ALIAS qenxbams)
install(TARGETS qenxbams EXPORT filerefTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/fileref)
