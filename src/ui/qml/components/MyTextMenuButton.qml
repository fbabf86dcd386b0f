import QtQuick
import "../colors.js" as Colors
import "../theme.js" as Theme

/// One entry of the text menu.
MyAbstractButton {
    id: control

    property bool selected: false

    font.bold: selected
    implicitHeight: Theme.controlHeight
    implicitWidth: Theme.menuWidth
    leftPadding: Theme.unit * 2
    rightPadding: Theme.unit * 2

    Accessible.role: Accessible.PageTab
    Accessible.selectable: true
    Accessible.selected: selected

    background: Rectangle {
        color: control.selected || control.hovered ? Theme.lineDark : "transparent"

        Rectangle {
            color: Colors.blue
            height: parent.height
            visible: control.selected
            width: 4
        }
        MyFocusRing {
            anchors.margins: 2
            control: control
            onDark: true
        }
    }
    contentItem: Text {
        color: control.selected || control.hovered ? Colors.white : Colors.lightGrey
        elide: Text.ElideRight
        font: control.font
        text: control.text
        textFormat: Text.PlainText
        verticalAlignment: Text.AlignVCenter
    }
}
