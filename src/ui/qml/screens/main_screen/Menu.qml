import QtQuick
import Podiumcast 1.0
import "../../colors.js" as Colors
import "../../theme.js" as Theme
import "../../components"

Rectangle {
    id: menu

    property alias selected: textMenu.selected

    color: Colors.bgDark

    MyRecordingButton {
        id: recordButton

        anchors.horizontalCenter: parent.horizontalCenter
        objectName: "recordButton"
        text: qsTr("Start recording")
        toolTip: qsTr("Start recording the selected slide source and audio input")
        y: 5 * Theme.unit - Math.min(3 * Theme.unit, Math.max(0, 480 - menu.height))
        onClicked: mainWindow.qml_startRecording()
    }

    MyTextMenu {
        id: textMenu

        anchors.top: recordButton.bottom
        anchors.topMargin: 3 * Theme.unit
        entries: [
            { value: "presentationList", text: qsTr("My Presentations") },
            { value: "settings", text: qsTr("Settings") },
            { value: "liveStream", text: qsTr("Live Stream") },
        ]
        selected: "presentationList"
        width: parent.width
    }

    MyLabel {
        id: versionLabel

        anchors.top: textMenu.bottom
        anchors.topMargin: Theme.unit
        color: Colors.lightGrey
        font.pixelSize: Theme.fontSmall
        text: qsTr("Recorder version: %1").arg(mainWindow.version)
        width: parent.width - 2 * x
        x: 2 * Theme.unit
    }

    MyLabel {
        anchors.top: versionLabel.bottom
        anchors.topMargin: Theme.unit / 4
        color: mainWindow.diskLow ? Colors.brightRed : Colors.lightGrey
        font.pixelSize: Theme.fontSmall
        objectName: "diskSpace"
        text: qsTr("Disk space left: ") + Theme.diskText(mainWindow.diskMinutesLeft)
        visible: mainWindow.diskMinutesLeft >= 0
        width: parent.width - 2 * x
        x: 2 * Theme.unit
    }

    SlideSourcePreview {
        id: preview

        // Without this, the preview would stay empty after the program's start: the selection is
        // known only a second later.
        readonly property bool idle: loading && !stopping && !mainWindow.isRecording
                                     && !mainWindow.isLoading

        anchors.bottom: parent.bottom
        height: width / (1920 / 1080)
        objectName: "slideSourcePreview"
        width: parent.width

        Component.onCompleted: restart()

        Connections {
            target: recorderSettings

            // A running preview keeps its source until it is clicked.
            function onProperty_selectedSlideSourceChanged() {
                if (preview.idle)
                    preview.restart()
            }
        }

        Rectangle {
            anchors.fill: parent
            color: "black"
            visible: preview.loading || preview.stopping

            MyLabel {
                anchors.centerIn: parent
                color: Colors.white
                font.pixelSize: Theme.fontSmall
                text: preview.stopping ? qsTr("Stopping slide source...")
                                       : qsTr("Loading slide source...")
                visible: preview.errorMessage.length === 0
            }
        }

        MyAbstractButton {
            id: refreshArea

            anchors.fill: parent
            enabled: !preview.loading && !preview.stopping
            objectName: "refreshPreview"
            text: qsTr("Click to refresh the preview")

            onClicked: preview.restart()

            background: Rectangle {
                color: refreshArea.hovered || refreshArea.visualFocus ? "#a0000000" : "transparent"

                Rectangle {
                    anchors.fill: parent
                    border.color: Theme.focusOnDark
                    border.width: Theme.focusRing
                    color: "transparent"
                    visible: refreshArea.visualFocus
                }
            }
            contentItem: Item {
                MyLabel {
                    anchors.centerIn: parent
                    color: Colors.white
                    font.pixelSize: Theme.fontSmall
                    text: refreshArea.text
                    visible: refreshArea.hovered || refreshArea.visualFocus
                    Accessible.ignored: true
                }
            }
        }

        Column {
            id: errorColumn

            spacing: Theme.unit / 2
            width: parent.width
            visible: errorText.text.length > 0

            Rectangle {
                color: "#c0000000"
                height: errorText.height + Theme.unit
                width: parent.width

                MyLabel {
                    id: errorText

                    color: Colors.brightRed
                    font.pixelSize: Theme.fontSmall
                    maximumLineCount: 6
                    text: [recorderSettings.slideSourceProblem, preview.errorMessage]
                              .filter(message => message.length > 0).join("\n")
                    width: parent.width - 2 * Theme.unit
                    wrapMode: Text.Wrap
                    x: Theme.unit
                    y: Theme.unit / 2

                    Accessible.role: Accessible.AlertMessage
                }
            }
            MyButton {
                anchors.horizontalCenter: parent.horizontalCenter
                baseColor: Theme.lineDark
                font.pixelSize: Theme.fontSmall
                implicitHeight: 3 * Theme.unit
                objectName: "retryPreview"
                onDark: true
                text: qsTr("Try again")
                visible: preview.idle && preview.errorMessage.length > 0
                onClicked: preview.restart()
            }
        }

        Rectangle {
            anchors.bottom: parent.bottom
            color: "#90000000"
            height: details.height + Theme.unit
            width: parent.width

            Column {
                id: details

                width: parent.width - 2 * Theme.unit
                x: Theme.unit
                y: Theme.unit / 2

                MyLabel {
                    readonly property bool available: preview.pointerRecordingAvailable
                                                      && !preview.stopping
                    readonly property bool recorded: available && preview.pointerRecordingEnabled

                    color: recorded ? Colors.white : Colors.red
                    font.pixelSize: Theme.fontTiny + 1
                    text: !available ? qsTr("Pointer recording is not available")
                        : !recorded ? qsTr("Pointer recording is disabled")
                        : qsTr("Pointer: [") + preview.mousePositionX + ", "
                          + preview.mousePositionY + "]"
                    width: parent.width
                }
                MyLabel {
                    color: Colors.white
                    font.pixelSize: Theme.fontTiny + 1
                    text: Theme.sizesText(preview.slidesResolutions)
                    visible: text.length > 0
                    width: parent.width
                }
                MyLabel {
                    color: Colors.white
                    elide: Text.ElideMiddle
                    font.pixelSize: Theme.fontTiny + 1
                    // Also while stopping the name changes, without a signal of its own.
                    text: preview.stopping ? preview.slideSourceName : preview.slideSourceName
                    width: parent.width
                }
            }
        }
    }
}
