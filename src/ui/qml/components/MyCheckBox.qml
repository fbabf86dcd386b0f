import QtQuick
import QtQuick.Templates as T
import "../colors.js" as Colors
import "../theme.js" as Theme

/// A check box; Space and Enter toggle it.
T.CheckBox {
    id: control

    function press(event) {
        if (event.isAutoRepeat)
            return
        toggle()
        toggled()
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
    Accessible.role: Accessible.CheckBox
    Keys.onEnterPressed: event => press(event)
    Keys.onReturnPressed: event => press(event)

    indicator: Rectangle {
        border.color: control.checked ? color : control.hovered ? Colors.blue : Colors.darkGrey
        border.width: 1.5
        color: control.checked ? (control.hovered ? Colors.hoveredColor(Colors.blue) : Colors.blue)
                               : Colors.white
        implicitHeight: Theme.indicatorSize
        implicitWidth: Theme.indicatorSize
        opacity: control.enabled ? 1 : 0.4
        radius: 3
        y: (control.height - height) / 2

        // The tick: a short and a long stroke, joined at the bottom.
        Item {
            anchors.centerIn: parent
            height: 12
            rotation: 45
            visible: control.checked
            width: 6

            Rectangle {
                anchors.bottom: parent.bottom
                antialiasing: true
                color: Colors.white
                height: 2
                width: 6
            }
            Rectangle {
                anchors.bottom: parent.bottom
                anchors.right: parent.right
                antialiasing: true
                color: Colors.white
                height: 11
                width: 2
            }
        }

        MyFocusRing {
            control: control
        }
    }
    contentItem: Text {
        color: Theme.textOnLight
        font: control.font
        leftPadding: control.indicator.width + control.spacing
        opacity: control.enabled ? 1 : 0.4
        text: control.text
        textFormat: Text.PlainText
        verticalAlignment: Text.AlignVCenter
        wrapMode: Text.Wrap
    }
}
