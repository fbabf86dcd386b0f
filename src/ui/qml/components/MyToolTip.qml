import QtQuick
import QtQuick.Templates as T
import "../colors.js" as Colors
import "../theme.js" as Theme

T.ToolTip {
    id: toolTip

    closePolicy: T.Popup.CloseOnEscape | T.Popup.CloseOnPressOutsideParent
    delay: 700
    implicitHeight: contentItem.implicitHeight + 2 * padding
    implicitWidth: contentItem.implicitWidth + 2 * padding
    margins: Theme.unit
    padding: Theme.unit * 0.75
    timeout: 5000
    x: parent ? (parent.width - width) / 2 : 0
    y: parent ? parent.height + Theme.unit / 2 : 0

    background: Rectangle {
        border.color: Theme.lineDark
        color: Colors.bgDark
        radius: Theme.radius
    }
    contentItem: MyLabel {
        color: Colors.white
        font.pixelSize: Theme.fontSmall
        text: toolTip.text
        wrapMode: Text.Wrap
    }
}
