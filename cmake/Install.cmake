include(CMakePackageConfigHelpers)

install(TARGETS OvrinCore EXPORT OvrinCoreTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY Source/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/OvrinCore
  FILES_MATCHING PATTERN "*.h" PATTERN "detail" EXCLUDE)
install(FILES ${PROJECT_BINARY_DIR}/generated/OvrinCoreVersion.h ${PROJECT_BINARY_DIR}/generated/OvrinCoreExport.h
  ${PROJECT_BINARY_DIR}/include/OvrinCore/OvrinCore.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/OvrinCore)
install(DIRECTORY Resources/Ovrin.bundle DESTINATION ${CMAKE_INSTALL_DATADIR}/OvrinCore)
install(EXPORT OvrinCoreTargets NAMESPACE Ovrin:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/OvrinCore)

file(WRITE ${PROJECT_BINARY_DIR}/OvrinCoreConfig.cmake.in
  "@PACKAGE_INIT@\ninclude(CMakeFindDependencyMacro)\nfind_dependency(Threads)\ninclude(\"\${CMAKE_CURRENT_LIST_DIR}/OvrinCoreTargets.cmake\")\n")
configure_package_config_file(${PROJECT_BINARY_DIR}/OvrinCoreConfig.cmake.in
  ${PROJECT_BINARY_DIR}/OvrinCoreConfig.cmake INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/OvrinCore)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/OvrinCoreConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/OvrinCoreConfig.cmake ${PROJECT_BINARY_DIR}/OvrinCoreConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/OvrinCore)

# The .pc file finds its prefix relative to itself, so it works wherever it is installed.
file(RELATIVE_PATH OVRIN_PREFIX_FROM_PKGCONFIG /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/OvrinCore.pc.in ${PROJECT_BINARY_DIR}/OvrinCore.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/OvrinCore.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
