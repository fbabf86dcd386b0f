import QtQuick
import "../colors.js" as Colors
import "../theme.js" as Theme

/// A link to a page of the service, opened in the system's browser.
MyAbstractButton {
    id: control

    property bool onDark: false
    required property url url

    implicitHeight: Math.ceil(contentItem.implicitHeight)
    implicitWidth: Math.ceil(contentItem.implicitWidth)

    Accessible.description: url
    Accessible.role: Accessible.Link
    onClicked: {
        if (!mainWindow.qml_openLink(url))
            mainWindow.errorMessage(qsTr("No browser could be opened. The address is %1").arg(url))
    }

    background: Item {
        MyFocusRing {
            control: control
            onDark: control.onDark
        }
    }
    contentItem: Text {
        color: control.onDark ? Theme.blueOnDark : Colors.blue
        elide: Text.ElideRight
        font.bold: control.font.bold
        font.family: control.font.family
        font.pixelSize: control.font.pixelSize
        font.underline: control.hovered || control.visualFocus
        maximumLineCount: 1
        text: control.text
        textFormat: Text.PlainText
    }

    HoverHandler {
        cursorShape: Qt.PointingHandCursor
    }
}
