# What the sanitizers are told in every test. Undefined behaviour ends the program, so that the test
# fails.
set(PODIUMCAST_SANITIZER_ENVIRONMENT
    ASAN_OPTIONS=detect_leaks=1
    UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1
    LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/harness/lsan.supp
    TSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/harness/tsan.supp:history_size=7:die_after_fork=0)

# podiumcast_add_test(<name> <source>... [OFFSCREEN | DESKTOP [AUDIO]] [LABELS <label>...]
#                     [LIBS <target>...] [TIMEOUT <seconds>] [SCREEN <WxH>] [NDI])
#
# One QtTest program, one ctest entry. OFFSCREEN (the default) runs it on Qt's offscreen platform;
# DESKTOP runs it on a virtual X screen of its own, with AUDIO also beside a virtual microphone.
# NDI runs it with the real NDI runtime in a network of its own, or skips it without that runtime.
function(podiumcast_add_test name)
    cmake_parse_arguments(ARG "OFFSCREEN;DESKTOP;AUDIO;NDI" "TIMEOUT;SCREEN" "LABELS;LIBS" ${ARGN})
    add_executable(${name} ${ARG_UNPARSED_ARGUMENTS})
    target_link_libraries(${name} PRIVATE podiumcast podiumcast_options Qt6::Test ${ARG_LIBS})
    if(WIN32)
        target_link_libraries(${name} PRIVATE podiumcast_testend)
        target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests/windows/include)
    endif()
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 120)
    endif()
    set(harness "")
    set(platform offscreen)
    if(ARG_NDI)
        set(harness ${PROJECT_SOURCE_DIR}/tests/harness/ndi-network.sh
            ${PROJECT_SOURCE_DIR}/build/ndi-runtime --)
    endif()
    if(ARG_DESKTOP)
        list(APPEND harness ${PROJECT_SOURCE_DIR}/tests/harness/desktop.sh)
        if(ARG_SCREEN)
            list(APPEND harness --screen ${ARG_SCREEN})
        endif()
        if(ARG_AUDIO)
            list(APPEND harness --audio)
        endif()
        list(APPEND harness --)
        set(platform xcb)
    endif()
    add_test(NAME ${name} COMMAND ${harness} $<TARGET_FILE:${name}>)
    set_tests_properties(${name} PROPERTIES
        TIMEOUT ${ARG_TIMEOUT}
        SKIP_RETURN_CODE 77
        LABELS "${ARG_LABELS}"
        ENVIRONMENT "QT_QPA_PLATFORM=${platform};QT_QUICK_BACKEND=software;LC_ALL=C.UTF-8;${PODIUMCAST_SANITIZER_ENVIRONMENT}")
endfunction()
