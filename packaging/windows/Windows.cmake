# Windows: the launcher, beside it the directory of the program with everything that it loads.
set(app ${PODIUMCAST_APP_DIRECTORY})
install(TARGETS PodiumcastRecorderLauncher RUNTIME DESTINATION .)
install(TARGETS PodiumcastRecorder RUNTIME DESTINATION ${app})
install(FILES windows/qt.conf DESTINATION ${app})

# Qt's plugins that the program loads by itself: window, sound and cameras, encryption.
set(plugins platforms/qwindows.dll multimedia/windowsmediaplugin.dll tls/qschannelbackend.dll)

# The compiler's own DLLs, from where this compiler has them.
set(compiler_directories "")
foreach(library libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${library}
        OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
    get_filename_component(directory ${path} DIRECTORY)
    list(APPEND compiler_directories ${directory})
endforeach()
list(TRANSFORM CMAKE_FIND_ROOT_PATH APPEND /lib OUTPUT_VARIABLE import_libraries)

install(CODE "
    set(app \"${app}\")
    set(qml_sources \"${PROJECT_SOURCE_DIR}/src/ui/qml\")
    set(qml_import_scanner \"$<TARGET_FILE:Qt6::qmlimportscanner>\")
    set(qt_plugins \"${QT6_INSTALL_PREFIX}/${QT6_INSTALL_PLUGINS}\")
    set(qt_qml \"${QT6_INSTALL_PREFIX}/${QT6_INSTALL_QML}\")
    set(plugins \"${plugins}\")
    set(dll_directories \"${QT6_INSTALL_PREFIX}/${QT6_INSTALL_BINS};${compiler_directories}\")
    set(import_libraries \"${import_libraries}\")
    set(objdump \"${CMAKE_OBJDUMP}\")
    set(strip \"${CMAKE_STRIP}\")")
install(SCRIPT windows/Deploy.cmake)

# The licences of what is shipped, as Debian has their texts, and where its sources are.
configure_file(windows/third-party.txt.in third-party.txt @ONLY NEWLINE_STYLE CRLF)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/third-party.txt DESTINATION ${app}/licences)
foreach(licence LGPL-3 GPL-3 Apache-2.0)
    install(FILES /usr/share/common-licenses/${licence} DESTINATION ${app}/licences
        RENAME ${licence}.txt)
endforeach()
foreach(package qt6-base-dev qt6-declarative-dev qt6-multimedia-dev libopencv-dev
        libcurl4-openssl-dev libz-mingw-w64 g++-mingw-w64-x86-64-posix mingw-w64-common
        fonts-roboto-unhinted)
    install(FILES /usr/share/doc/${package}/copyright DESTINATION ${app}/licences
        RENAME ${package}.txt)
endforeach()

set(CPACK_GENERATOR ZIP NSIS)
set(CPACK_PACKAGE_FILE_NAME PodiumcastRecorder-${PROJECT_VERSION}-windows-x64)
set(CPACK_PACKAGE_INSTALL_DIRECTORY "Podiumcast Recorder")
set(PODIUMCAST_ICON ${PROJECT_SOURCE_DIR}/data/icons/podiumcast-recorder.ico)
# The installer's script is NSIS.template.in; CPack looks for it along this path.
list(PREPEND CMAKE_MODULE_PATH ${CMAKE_CURRENT_SOURCE_DIR}/windows)
configure_file(windows/PackageOptions.cmake.in PackageOptions.cmake @ONLY)
set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_CURRENT_BINARY_DIR}/PackageOptions.cmake)
