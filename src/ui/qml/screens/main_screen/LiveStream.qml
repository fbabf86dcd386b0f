import QtQuick
import "../../colors.js" as Colors
import "../../theme.js" as Theme
import "../../components"

MyScrollPage {
    Login {
        id: login

        objectName: "login"
        width: parent.width
        onSubmitted: (email, password) => {
            login.showProgress(loginSettings.liveStreamResume
                               ? qsTr("Connecting to livestream...")
                               : qsTr("Creating new livestream..."))
            mainWindow.qml_login(email, password)
        }
    }

    Connections {
        target: mainWindow

        function onInternal_loginFailed() {
            login.clearPassword()
            login.showFailure(qsTr("Login failed.<br>Check your email and password."))
            login.focusEmail()
        }
        function onInternal_showLiveStreamStartFailed(message) {
            login.showForeignFailure(message)
        }
        function onInternal_loginSuccessful() {
            console.log("[QML] Login success.")
            login.clearPassword()
            login.clearStatus()
            // The answer may be late: by then a recording may have been started by hand.
            if (mainWindow.isRecording || mainWindow.isLoading)
                return
            mainWindow.qml_startLiveStream(loginSettings.liveStreamResume,
                                           loginSettings.liveStreamPresentationId)
        }
    }
}
