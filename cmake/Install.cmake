# The package that find_package(KyCore) finds.
include(CMakePackageConfigHelpers)

set(ky_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/KyCore)
install(TARGETS KyCoreM2W10 ky_contract EXPORT KyCoreTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/KyCoreM2W10)
install(EXPORT KyCoreTargets NAMESPACE KyCore:: DESTINATION ${ky_package_dir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/KyCoreConfigVersion.cmake COMPATIBILITY SameMinorVersion)
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/KyCoreConfig.cmake "include(\${CMAKE_CURRENT_LIST_DIR}/KyCoreTargets.cmake)\n")
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/KyCoreConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/KyCoreConfigVersion.cmake
        DESTINATION ${ky_package_dir})
