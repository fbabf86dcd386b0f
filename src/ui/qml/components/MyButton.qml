import QtQuick
import QtQuick.Templates as T
import "../colors.js" as Colors
import "../theme.js" as Theme

/// A push button; Space and Enter press it.
T.Button {
    id: control

    property color baseColor: Colors.blue
    property bool onDark: false
    property color textColor: Colors.white
    property string toolTip

    focusPolicy: Qt.StrongFocus
    font.family: Theme.fontFamily
    font.pixelSize: Theme.fontBody
    hoverEnabled: true
    implicitHeight: Theme.controlHeight
    implicitWidth: Math.ceil(contentItem.implicitWidth) + leftPadding + rightPadding
    leftPadding: Theme.unit * 1.5
    rightPadding: Theme.unit * 1.5

    Accessible.description: toolTip
    Accessible.name: text
    Accessible.role: Accessible.Button
    Keys.onEnterPressed: click()
    Keys.onReturnPressed: click()

    background: Rectangle {
        color: control.down ? Qt.darker(control.baseColor, 1.4)
                            : control.hovered ? Colors.hoveredColor(control.baseColor)
                                              : control.baseColor
        opacity: control.enabled ? 1 : 0.4
        radius: Theme.radius

        MyFocusRing {
            control: control
            onDark: control.onDark
        }
    }
    contentItem: Text {
        color: control.textColor
        elide: Text.ElideRight
        font: control.font
        horizontalAlignment: Text.AlignHCenter
        opacity: control.enabled ? 1 : 0.6
        text: control.text
        textFormat: Text.PlainText
        verticalAlignment: Text.AlignVCenter
    }

    MyToolTip {
        text: control.toolTip
        visible: control.hovered && control.toolTip.length > 0
    }
}
