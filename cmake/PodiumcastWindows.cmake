# What both Windows programs share. The program's directory lies beside the launcher; the rule for
# the work directory needs its name to end in "app".
set(PODIUMCAST_APP_DIRECTORY app)

if(WIN32)
    enable_language(RC)
endif()

# podiumcast_windows_resources(<target> <description>): icon, version and manifest of a program.
function(podiumcast_windows_resources target description)
    foreach(extension manifest rc)
        configure_file(${PROJECT_SOURCE_DIR}/src/app/windows/PodiumcastRecorder.${extension}.in
            ${CMAKE_CURRENT_BINARY_DIR}/${target}.${extension} @ONLY)
    endforeach()
    target_sources(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc)
    if(MSVC) # whose linker otherwise adds a second manifest
        target_link_options(${target} PRIVATE /MANIFEST:NO)
    endif()
endfunction()
