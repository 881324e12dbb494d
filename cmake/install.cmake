# Headers, libraries, the CMake package and the pkg-config file.

include(CMakePackageConfigHelpers)
install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
install(TARGETS qolsce9 qolcore qolsce9_static qolcore_static EXPORT qolsce9Targets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(EXPORT qolsce9Targets NAMESPACE qolsce9:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qolsce9)
write_basic_package_version_file(qolsce9ConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES cmake/qolsce9Config.cmake ${PROJECT_BINARY_DIR}/qolsce9ConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qolsce9)
# The pkg-config file finds its prefix from where it lies, so that the tree may be installed anywhere and moved.
file(RELATIVE_PATH QOLSC_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(packaging/qolsce9.pc.in qolsce9.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qolsce9.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(TARGET qolsc)
  install(TARGETS qolsc RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(FILES docs/qolsc.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
endif()
