# Linux: the program and its module below libexec, started by a command that knows where a user's presentations go.
# A Debian package is made of it.
install(TARGETS PodiumcastRecorder podiumcast-camera
    DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/podiumcast-recorder)
install(PROGRAMS linux/podiumcast-recorder DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES linux/podiumcast-recorder.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES linux/podiumcast-recorder.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
set(icons ${PROJECT_SOURCE_DIR}/data/icons/podiumcast-recorder)
foreach(size 16 24 32 48 64 128 256)
    install(FILES ${icons}-${size}.png RENAME podiumcast-recorder.png
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/${size}x${size}/apps)
endforeach()
install(FILES ${icons}.svg DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)

# Software centres know the program by the service's name reversed.
string(REPLACE "." ";" component ${PODIUMCAST_SERVICE_HOST})
list(REVERSE component)
list(JOIN component "." component)
string(APPEND component .recorder)
# The day of this release; SOURCE_DATE_EPOCH makes it that of the last change.
string(TIMESTAMP release_date "%Y-%m-%d" UTC)
string(TIMESTAMP changelog_date "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(linux/metainfo.xml.in ${component}.metainfo.xml @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${component}.metainfo.xml
    DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_PACKAGE_NAME podiumcast-recorder)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "Podiumcast <recorder@${PODIUMCAST_SERVICE_HOST}>")
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://${PODIUMCAST_SERVICE_HOST}/")
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION "\
Watches the screens, a camera, a capture card or an NDI source, keeps every
new slide as a PNG file with its time, and records sound, pointer and screen
layout beside them on one time base. A recording can be streamed live.")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# Libraries are found by dpkg-shlibdeps; the QML modules that the window imports are loaded by name.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "qml6-module-qtquick, qml6-module-qtquick-layouts, \
qml6-module-qtquick-templates, qml6-module-qtquick-window, qml6-module-qtqml-workerscript")
# Other scripts than Roboto's; the user's directory of documents; the authorities of live streams.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS
    "ca-certificates, fonts-dejavu-core, pulseaudio | pipewire-pulse, xdg-user-dirs, xdg-utils")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "libavahi-client3")

set(documents ${CMAKE_INSTALL_DATADIR}/doc/podiumcast-recorder)
configure_file(linux/copyright.in copyright @ONLY)
configure_file(linux/changelog.in changelog @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/copyright DESTINATION ${documents})
install(CODE "
    set(changelog \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${documents}/changelog.gz\")
    execute_process(COMMAND gzip -9n INPUT_FILE \"${CMAKE_CURRENT_BINARY_DIR}/changelog\"
        OUTPUT_FILE \"\${changelog}\" COMMAND_ERROR_IS_FATAL ANY)
    set(page \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_MANDIR}/man1/podiumcast-recorder.1\")
    execute_process(COMMAND gzip -9nf \"\${page}\" COMMAND_ERROR_IS_FATAL ANY)")
