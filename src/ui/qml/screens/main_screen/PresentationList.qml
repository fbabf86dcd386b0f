import QtQuick
import "../../colors.js" as Colors
import "../../theme.js" as Theme
import "../../components"

Item {
    id: page

    MyPresentationList {
        id: list

        anchors.bottom: tip.top
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        model: presentationModel
        objectName: "presentations"
        onOpenRequested: directory => {
            if (!mainWindow.qml_openDirectory(directory))
                mainWindow.errorMessage(qsTr("The folder cannot be opened: %1. Look for it with your file manager; if it has gone, it was moved or deleted.").arg(directory))
        }
    }
    Column {
        anchors.centerIn: list
        spacing: Theme.unit
        visible: list.count === 0
        width: list.width - 6 * Theme.unit

        MyLabel {
            color: Theme.textOnLight
            font.bold: true
            font.pixelSize: Theme.fontTitle
            horizontalAlignment: Text.AlignHCenter
            text: qsTr("No recordings yet")
            width: parent.width
        }
        MyLabel {
            color: Colors.darkGrey
            horizontalAlignment: Text.AlignHCenter
            text: qsTr("Press the red button to record your first talk. It appears here when you stop.")
            width: parent.width
            wrapMode: Text.Wrap
        }
    }
    Rectangle {
        id: tip

        anchors.bottom: parent.bottom
        color: Theme.blueTint
        height: tipColumn.height + 2 * Theme.unit
        width: parent.width

        Rectangle {
            color: Theme.line
            height: 1
            width: parent.width
        }
        Column {
            id: tipColumn

            width: parent.width - 4 * Theme.unit
            x: 2 * Theme.unit
            y: Theme.unit

            MyLabel {
                text: qsTr("Looking to upload your recordings?<br>Go to")
                textFormat: Text.StyledText
                width: parent.width
            }
            MyLink {
                objectName: "uploadLink"
                text: String(url).replace(/^https?:\/\//, "")
                url: mainWindow.qml_serviceUrl("/recording_app/uploads")
                width: Math.min(implicitWidth, parent.width)
            }
        }
    }
}
