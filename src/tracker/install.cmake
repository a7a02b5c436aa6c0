# The tracker library, its header, a package config and a pkg-config file, in components of its own.
include(CMakePackageConfigHelpers)

set(configDir ${CMAKE_INSTALL_LIBDIR}/cmake/kes_tracker)
install(TARGETS kes_tracker EXPORT kes_tracker_targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT tracker
    NAMELINK_COMPONENT tracker_development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT tracker_development)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/kes/tracker
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kes
    COMPONENT tracker_development)
install(EXPORT kes_tracker_targets
    NAMESPACE kes::
    FILE kes_trackerTargets.cmake
    DESTINATION ${configDir}
    COMPONENT tracker_development)

configure_package_config_file(kes_trackerConfig.cmake.in kes_trackerConfig.cmake
    INSTALL_DESTINATION ${configDir})
write_basic_package_version_file(kes_trackerConfigVersion.cmake
    VERSION ${KES_TRACKER_VERSION}
    COMPATIBILITY SameMinorVersion)
set(libraries "-lkes_tracker")
if(NOT BUILD_SHARED_LIBS)
    string(APPEND libraries " -lopencv_imgproc -lopencv_core")
endif()
# Finds its prefix from where it lies itself.
set(pkgConfigDir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH prefixFromPkgConfigDir /${pkgConfigDir} /)
configure_file(kes_tracker.pc.in kes_tracker.pc @ONLY)
install(FILES
    ${CMAKE_CURRENT_BINARY_DIR}/kes_trackerConfig.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/kes_trackerConfigVersion.cmake
    DESTINATION ${configDir}
    COMPONENT tracker_development)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/kes_tracker.pc
    DESTINATION ${pkgConfigDir}
    COMPONENT tracker_development)
