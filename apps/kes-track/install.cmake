# The program, and its manual page and shell completion, which it prints itself.
install(TARGETS kes-track RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT program)

# Built for another machine, it runs only where there is an emulator for that.
if(CMAKE_CROSSCOMPILING AND NOT CMAKE_CROSSCOMPILING_EMULATOR)
    return()
endif()
add_custom_command(OUTPUT kes-track.1
    COMMAND kes-track manual > kes-track.1
    DEPENDS kes-track
    VERBATIM)
add_custom_command(OUTPUT kes-track.bash
    COMMAND kes-track manual --completion > kes-track.bash
    DEPENDS kes-track
    VERBATIM)
add_custom_target(kes_track_manual ALL DEPENDS kes-track.1 kes-track.bash)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/kes-track.1
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
    COMPONENT program)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/kes-track.bash
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
    RENAME kes-track
    COMPONENT program)
