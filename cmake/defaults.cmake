# How every target of this project is compiled. Strictness and sanitizers live in the presets.
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    if(PROJECT_IS_TOP_LEVEL)
        set(CMAKE_BUILD_TYPE Release CACHE STRING
            "Debug, Release, RelWithDebInfo or MinSizeRel" FORCE)
    elseif(NOT CMAKE_CXX_FLAGS MATCHES "-O")
        # The host project names neither a build type nor an optimisation level. Its own targets
        # stay as they are; without optimisation the segmenter would be too slow to be of use.
        string(APPEND CMAKE_CXX_FLAGS " ${CMAKE_CXX_FLAGS_RELEASE}")
    endif()
endif()
if(PROJECT_IS_TOP_LEVEL)
    option(BUILD_SHARED_LIBS "Build shared libraries instead of static ones" ON)
endif()

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
# Installed libraries and programs find our libraries in whatever prefix, without ldconfig.
file(RELATIVE_PATH libraryFolder ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
set(CMAKE_INSTALL_RPATH "\$ORIGIN;\$ORIGIN/${libraryFolder}")
