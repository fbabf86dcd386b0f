import QtQuick
import QtQuick.Window
import QtQuick.Templates as T
import "colors.js" as Colors
import "theme.js" as Theme
import "components"
import "screens"

Window {
    id: window

    readonly property bool busy: mainWindow.isLoading || mainWindow.quitting

    color: Colors.bgDark
    height: 480
    minimumHeight: 480
    minimumWidth: 640
    title: "Podiumcast Recorder"
    visible: true
    width: 640

    onClosing: close => {
        if (mainWindow.isRecording || mainWindow.isLoading) {
            close.accepted = false
            mainWindow.qml_quit()
        }
    }

    FontLoader {
        source: "qrc:/fonts/Roboto-Regular.ttf"
    }
    FontLoader {
        source: "qrc:/fonts/Roboto-Bold.ttf"
    }

    Connections {
        target: mainWindow

        function onErrorMessage(message) {
            errors.add(message)
        }
        function onProperty_recordingChanged(isRecording) {
            if (!isRecording)
                errors.clear()
        }
        function onStartRecording() {
            errors.clear()
        }
        function onStartLiveStream() {
            errors.clear()
        }
    }

    // The bars at the top push the screens down, so that they never cover a button.
    Column {
        id: bars

        width: window.width
        z: 1

        WarningBar {
            text: qsTr("<b>Screen recording is disabled.</b><br>Go to Security &amp; Privacy in System Preferences. Open Screen Recording in Privacy tab and enable Podiumcast Recorder application.<br>Restart Podiumcast Recorder when you enable it.")
            visible: !mainWindow.screenRecordingEnabled
            width: bars.width
        }
        WarningBar {
            text: qsTr("<b>Pointer recording is disabled.</b><br>Go to Security &amp; Privacy in System Preferences. Open Input Monitoring in Privacy tab and enable Podiumcast Recorder application. Also enable Podiumcast Recorder application in Accessibility in Privacy tab.<br>Restart Podiumcast Recorder when you enable it.")
            visible: !mainWindow.mouseListenerEnabled
            width: bars.width
        }
        WarningBar {
            objectName: "diskWarning"
            text: qsTr("<b>The disk is almost full.</b> Delete or move files until at least 500 MB are free. Below 50 MB the recording stops by itself; what was recorded is kept.")
            visible: mainWindow.diskLow
            width: bars.width
        }
        ErrorLog {
            id: errors

            objectName: "errors"
            width: bars.width
        }
    }

    Item {
        id: screens

        anchors.bottom: parent.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: bars.bottom

        MainScreen {
            anchors.fill: parent
            objectName: "mainScreen"
            visible: !mainWindow.isRecording && !window.busy
        }
        RecordingScreen {
            anchors.fill: parent
            objectName: "recordingScreen"
            visible: mainWindow.isRecording
            // Under the loading screen no control may be pressed or get the keyboard's focus.
            enabled: !window.busy
        }
        LoadingScreen {
            anchors.fill: parent
            objectName: "loadingScreen"
            visible: window.busy
        }
    }
}
