include("${CMAKE_CURRENT_LIST_DIR}/fileref-targets.cmake")
