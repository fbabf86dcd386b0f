import QtQuick
import "../colors.js" as Colors
import "../theme.js" as Theme

/// A push button; Space and Enter press it.
MyAbstractButton {
    id: control

    property color baseColor: Colors.blue
    property bool onDark: false
    property color textColor: Colors.white

    implicitHeight: Theme.controlHeight
    implicitWidth: Math.ceil(contentItem.implicitWidth) + leftPadding + rightPadding
    leftPadding: Theme.unit * 1.5
    rightPadding: Theme.unit * 1.5

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
}
