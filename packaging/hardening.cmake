# A toolchain file: the distribution's own flags, hardening included, ask for everything it offers.
# What Debian changes there reaches the packages without a change here.
foreach(variable CXXFLAGS CPPFLAGS LDFLAGS)
    execute_process(
        COMMAND ${CMAKE_COMMAND} -E env DEB_BUILD_MAINT_OPTIONS=hardening=+all
                dpkg-buildflags --get ${variable}
        WORKING_DIRECTORY ${CMAKE_CURRENT_LIST_DIR}/..  # which is mapped to . in what is built
        OUTPUT_VARIABLE ${variable}
        OUTPUT_STRIP_TRAILING_WHITESPACE
        COMMAND_ERROR_IS_FATAL ANY)
endforeach()
set(CMAKE_CXX_FLAGS_INIT "${CXXFLAGS} ${CPPFLAGS}")
set(CMAKE_EXE_LINKER_FLAGS_INIT "${LDFLAGS}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${LDFLAGS}")
