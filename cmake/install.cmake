# The libraries, their headers as they stand, a package config and a pkg-config file. A component is
# what one Debian package holds.
include(CMakePackageConfigHelpers)

set(configDir ${CMAKE_INSTALL_LIBDIR}/cmake/kes_algorithm_tracking_base)
set(pkgConfigRequires "eigen3")
set(pkgConfigLibs "-lkes_algorithm_tracking_base")
if(KES_EXTERNAL_MEDIA)
    string(APPEND pkgConfigRequires " kes_media")
else()
    string(APPEND pkgConfigLibs " -lkes_media")
endif()
if(NOT BUILD_SHARED_LIBS)
    # A static library leaves what it needs to the program.
    if(KES_WITH_HIGHWAY)
        string(APPEND pkgConfigRequires " libhwy")
    endif()
elseif(NOT CMAKE_SKIP_INSTALL_RPATH)
    # The loader searches few folders: a program finds the libraries where they were linked.
    string(PREPEND pkgConfigLibs "-Wl,-rpath,\${libdir} ")
endif()

install(TARGETS kes_algorithm_tracking_base EXPORT kes_targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library
    NAMELINK_COMPONENT development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
if(NOT KES_EXTERNAL_MEDIA)
    install(TARGETS kes_media EXPORT kes_targets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT media
        NAMELINK_COMPONENT development
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
endif()
install(DIRECTORY include/kes ${PROJECT_BINARY_DIR}/include/kes
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    COMPONENT development
    PATTERN tracker EXCLUDE)  # installs its own
install(EXPORT kes_targets
    NAMESPACE kes::
    FILE kes_algorithm_tracking_baseTargets.cmake
    DESTINATION ${configDir}
    COMPONENT development)

configure_package_config_file(cmake/kes_algorithm_tracking_baseConfig.cmake.in
    kes_algorithm_tracking_baseConfig.cmake
    INSTALL_DESTINATION ${configDir})
write_basic_package_version_file(kes_algorithm_tracking_baseConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
# Written when it is installed, because `cmake --install --prefix` may choose another place.
set(pkgConfigFile ${CMAKE_CURRENT_BINARY_DIR}/kes_algorithm_tracking_base.pc)
install(CODE "
    set(prefix \"\${CMAKE_INSTALL_PREFIX}\")
    set(libdir \"${CMAKE_INSTALL_LIBDIR}\")
    set(includedir \"${CMAKE_INSTALL_INCLUDEDIR}\")
    cmake_path(ABSOLUTE_PATH libdir BASE_DIRECTORY \"\${prefix}\")
    cmake_path(ABSOLUTE_PATH includedir BASE_DIRECTORY \"\${prefix}\")
    set(description \"${PROJECT_DESCRIPTION}\")
    set(version \"${PROJECT_VERSION}\")
    set(requires \"${pkgConfigRequires}\")
    set(libraries \"${pkgConfigLibs}\")
    configure_file(\"${CMAKE_CURRENT_SOURCE_DIR}/cmake/kes_algorithm_tracking_base.pc.in\"
        \"${pkgConfigFile}\" @ONLY)"
    COMPONENT development)
install(FILES
    ${CMAKE_CURRENT_BINARY_DIR}/kes_algorithm_tracking_baseConfig.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/kes_algorithm_tracking_baseConfigVersion.cmake
    DESTINATION ${configDir}
    COMPONENT development)
install(FILES ${pkgConfigFile}
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT development)
