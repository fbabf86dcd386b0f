# Options and the compiler settings shared by every target.

set(PODIUMCAST_SERVICE_HOST "podiumcast.example" CACHE STRING
    "Host name of the service: REST interface, organisation domain and the links in the window")
option(PODIUMCAST_WERROR "Treat warnings as errors (developers' presets)" OFF)
option(PODIUMCAST_BENCH "Build the benchmarks" OFF)
option(PODIUMCAST_FUZZ "Build the libFuzzer targets instead of the tests that replay their corpora" OFF)
set(PODIUMCAST_SANITIZE "" CACHE STRING "Sanitizers, as for -fsanitize= (empty: none)")

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_AUTOMOC ON)
set(CMAKE_AUTORCC ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(PODIUMCAST_SANITIZE)
    add_compile_options(-fsanitize=${PODIUMCAST_SANITIZE} -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${PODIUMCAST_SANITIZE})
endif()

# The warnings and definitions of our own code, as an interface target so that generated or
# third-party code can stay outside.
add_library(podiumcast_options INTERFACE)
if(MSVC)
    target_compile_options(podiumcast_options INTERFACE
        /W4 /permissive- /utf-8 $<$<BOOL:${PODIUMCAST_WERROR}>:/WX>)
    target_compile_definitions(podiumcast_options INTERFACE NOMINMAX)
else()
    target_compile_options(podiumcast_options INTERFACE
        -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
        $<$<BOOL:${PODIUMCAST_WERROR}>:-Werror>)
endif()
target_compile_definitions(podiumcast_options INTERFACE
    QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_CAST_FROM_BYTEARRAY
    QT_NO_URL_CAST_FROM_STRING QT_NO_FOREACH QT_USE_QSTRINGBUILDER)
