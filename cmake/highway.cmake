# hwy::hwy: Highway, or what stands in for it where it is not wanted or not found.
option(KES_WITH_HIGHWAY "Use Highway's vectors where it is installed" ON)

if(KES_WITH_HIGHWAY)
    find_package(hwy 1.0.3 QUIET)
    if(NOT hwy_FOUND)
        set(KES_WITH_HIGHWAY OFF)
    endif()
endif()
if(NOT KES_WITH_HIGHWAY)
    add_library(kes_one_lane INTERFACE)
    target_include_directories(kes_one_lane INTERFACE
        $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src/one_lane>)
    add_library(hwy::hwy ALIAS kes_one_lane)
    message(NOTICE
        "Without Highway 1.0.3 (libhwy-dev, KES_WITH_HIGHWAY): plain code only, with the same results. "
        "Lost is speed: beside AVX-512 the segmenter takes about 70 times as long, the solver 2 to 8 "
        "times, the appearance model 1.6 times.")
endif()
