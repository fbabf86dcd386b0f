import QtQuick
import QtQuick.Templates as T
import "../colors.js" as Colors
import "../theme.js" as Theme

/// One choice of several; Space and Enter choose it. Long names wrap.
T.RadioButton {
    id: control

    function press(event) {
        if (event.isAutoRepeat)
            return
        if (!checked) {
            toggle()
            toggled()
        }
        clicked()
    }

    focusPolicy: Qt.StrongFocus
    font.family: Theme.fontFamily
    font.pixelSize: Theme.fontBody
    hoverEnabled: true
    implicitHeight: Math.max(Theme.controlHeight - 4, Math.ceil(contentItem.implicitHeight))
    implicitWidth: Math.ceil(contentItem.implicitWidth) + leftPadding + rightPadding
    spacing: Theme.unit

    Accessible.name: text
    Accessible.role: Accessible.RadioButton
    Keys.onEnterPressed: event => press(event)
    Keys.onReturnPressed: event => press(event)

    indicator: Rectangle {
        border.color: control.checked || control.hovered ? Colors.blue : Colors.darkGrey
        border.width: 1.5
        color: Colors.white
        implicitHeight: Theme.indicatorSize
        implicitWidth: Theme.indicatorSize
        opacity: control.enabled ? 1 : 0.4
        radius: width / 2
        y: (control.height - height) / 2

        Rectangle {
            anchors.centerIn: parent
            color: Colors.blue
            height: 10
            radius: 5
            visible: control.checked
            width: 10
        }

        MyFocusRing {
            control: control
            radius: width / 2
        }
    }
    contentItem: Text {
        color: Theme.textOnLight
        font: control.font
        leftPadding: control.indicator.width + control.spacing
        opacity: control.enabled ? 1 : 0.5
        text: control.text
        textFormat: Text.PlainText
        verticalAlignment: Text.AlignVCenter
        wrapMode: Text.Wrap
    }
}
