include(${CMAKE_CURRENT_LIST_DIR}/qolsce9Targets.cmake)
