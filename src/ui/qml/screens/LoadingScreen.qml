import QtQuick
import "../colors.js" as Colors
import "../theme.js" as Theme
import "../components"

/// Covers the window while a recording is being started or stopped.
Rectangle {
    id: screen

    readonly property bool finishing: mainWindow.isRecording || mainWindow.quitting

    color: Colors.bgDark

    // Nothing below may be clicked.
    MouseArea {
        anchors.fill: parent
        hoverEnabled: true
    }

    PresentationHeading {
        id: heading

        editPath: "/edit/live"
        width: parent.width - 2 * x
        x: Theme.unit * 2
        y: Theme.unit * 2
    }

    Column {
        anchors.horizontalCenter: parent.horizontalCenter
        spacing: Theme.unit * 2
        y: Math.max(heading.y + heading.height + Theme.unit, (parent.height - height) / 2)
        width: parent.width - 8 * Theme.unit

        Item {
            anchors.horizontalCenter: parent.horizontalCenter
            height: 72
            width: 72

            MyImage {
                anchors.fill: parent
                source: "qrc:/images/loader_bg.png"
            }
            MyImage {
                anchors.fill: parent
                source: "qrc:/images/loader_fg.png"

                RotationAnimation on rotation {
                    duration: 1000
                    from: 0
                    loops: Animation.Infinite
                    running: screen.visible
                    to: 180
                }
            }
        }
        MyLabel {
            color: Colors.white
            font.pixelSize: Theme.fontTitle
            horizontalAlignment: Text.AlignHCenter
            objectName: "loadingText"
            text: screen.finishing ? qsTr("Finishing the recording…")
                                   : qsTr("Starting the recording…")
            width: parent.width
        }
        Column {
            spacing: Theme.unit / 2
            width: parent.width

            StatusLine {
                horizontalAlignment: Text.AlignHCenter
                name: qsTr("Slides source: ")
                value: mainWindow.slideSource.name()
                width: parent.width
            }
            StatusLine {
                horizontalAlignment: Text.AlignHCenter
                name: qsTr("Slides captured: ")
                value: mainWindow.slidesCaptured
                width: parent.width
            }
            StatusLine {
                horizontalAlignment: Text.AlignHCenter
                name: qsTr("Slides saved: ")
                value: mainWindow.slidesSaved
                width: parent.width
            }
            LiveStreamStatus {
                id: liveStatus

                delegate: StatusLine {
                    required property int index

                    horizontalAlignment: Text.AlignHCenter
                    name: liveStatus.lines[index][0]
                    value: liveStatus.lines[index][1]
                    visible: mainWindow.isLiveStream
                    width: parent.width
                }
            }
        }
    }
}
