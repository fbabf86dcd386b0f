import QtQuick
import "../../colors.js" as Colors
import "../../theme.js" as Theme
import "../../components"

/// The form that logs in and says which live stream is wanted.
Column {
    id: form

    signal submitted(string email, string password)

    function showProgress(text) {
        setStatus(text, Colors.darkGrey, Text.StyledText)
    }
    function showFailure(text) {
        setStatus(text, Colors.red, Text.StyledText)
    }
    /// For a text that comes from the service.
    function showForeignFailure(text) {
        setStatus(text, Colors.red, Text.PlainText)
    }
    function clearStatus() {
        setStatus("", Colors.darkGrey, Text.PlainText)
    }
    function clearPassword() {
        password.clear()
    }
    function focusEmail() {
        email.forceActiveFocus(Qt.TabFocusReason)
    }
    function setStatus(text, color, format) {
        status.textFormat = format
        status.color = color
        status.text = text
    }
    function submit() {
        loginSettings.loginEmail = email.text
        loginSettings.liveStreamPresentationId = presentationId.text
        submitted(email.text, password.text)
    }

    spacing: Theme.unit

    MyLabel {
        color: Colors.blue
        font.bold: true
        font.pixelSize: Theme.fontDisplay
        text: qsTr("Live Stream")
        width: parent.width
        Accessible.role: Accessible.Heading
    }
    MyLabel {
        text: qsTr("E-mail")
    }
    MyTextEdit {
        id: email

        inputMethodHints: Qt.ImhEmailCharactersOnly
        label: qsTr("E-mail")
        objectName: "email"
        text: loginSettings.loginEmail
        width: parent.width
        Keys.onEnterPressed: form.submit()
        Keys.onReturnPressed: form.submit()
        onEditingFinished: loginSettings.loginEmail = text
    }
    MyLabel {
        text: qsTr("Password")
    }
    MyTextEdit {
        id: password

        echoMode: TextInput.Password
        inputMethodHints: Qt.ImhSensitiveData | Qt.ImhNoPredictiveText
        label: qsTr("Password")
        objectName: "password"
        width: parent.width
        Keys.onEnterPressed: form.submit()
        Keys.onReturnPressed: form.submit()
    }
    MyCheckBox {
        checked: loginSettings.liveStreamResume
        objectName: "resume"
        text: qsTr("Connect to existing Live Stream")
        width: parent.width
        onToggled: loginSettings.liveStreamResume = checked
    }
    Column {
        spacing: form.spacing
        visible: loginSettings.liveStreamResume
        width: parent.width

        MyLabel {
            text: qsTr("Presentation ID (optional)")
        }
        MyTextEdit {
            id: presentationId

            label: qsTr("Presentation ID (optional)")
            objectName: "presentationId"
            text: loginSettings.liveStreamPresentationId
            width: parent.width
            Keys.onEnterPressed: form.submit()
            Keys.onReturnPressed: form.submit()
            onEditingFinished: loginSettings.liveStreamPresentationId = text
        }
    }
    MyButton {
        objectName: "startStreaming"
        text: qsTr("Start Streaming")
        width: parent.width
        onClicked: form.submit()
    }
    MyLabel {
        id: status

        elide: Text.ElideNone
        objectName: "loginStatus"
        width: parent.width
        wrapMode: Text.Wrap
        Accessible.role: Accessible.AlertMessage
    }
}
