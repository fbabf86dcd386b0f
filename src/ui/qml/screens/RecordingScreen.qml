import QtQuick
import QtQuick.Layouts
import QtQuick.Window
import Podiumcast 1.0
import "../colors.js" as Colors
import "../theme.js" as Theme
import "../components"

/// The window during a recording. It is on the screen that is being recorded: nothing on it moves
/// by itself but the duration, and the label that says that nothing is being captured.
Rectangle {
    id: screen

    property var slides: []
    readonly property bool showsScreens: mainWindow.slideSource.type() === 2

    color: Colors.bgDark

    Connections {
        target: mainWindow

        function onInternal_showSlides(slides) {
            // Until the first slide is there: the screens as they were when the start was requested,
            // which at rest is the same picture.
            screen.slides = slides.length > 0 ? slides : mainWindow.standInFrames
        }
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: Theme.unit * 2
        spacing: Theme.unit * 1.5

        PresentationHeading {
            Layout.fillWidth: true
            editPath: "/-/edit/live"
        }

        Rectangle {
            readonly property real limit: Math.max(27 * Theme.unit, screen.height / 4)

            Layout.fillHeight: true
            Layout.fillWidth: true
            Layout.minimumHeight: 8 * Theme.unit
            Layout.preferredHeight: limit
            // The newest slide shows the screen with this window and so itself, again and again
            // smaller; kept this small, the second picture in the picture is too small to count.
            Layout.maximumHeight: limit
            color: Theme.panelDark
            radius: Theme.radius

            // No layout: see LiveStreamStatus.
            Row {
                id: pictures

                anchors.fill: parent
                anchors.margins: Theme.unit
                spacing: Theme.unit

                Repeater {
                    model: screen.slides.length

                    ImageItem {
                        required property int index

                        clip: true

                        height: pictures.height
                        image: screen.slides[index]
                        width: (pictures.width + pictures.spacing) / screen.slides.length
                               - pictures.spacing

                        Accessible.name: qsTr("Newest slide of screen %1").arg(index + 1)
                        Accessible.role: Accessible.Graphic

                        // This window is left blank in its own picture: a picture of itself in
                        // itself would change with every change of it, and each would be a slide.
                        Rectangle {
                            readonly property var area: Qt.application.screens[parent.index]
                            readonly property var self: screen.Window.window
                            readonly property real scaling: area
                                ? Math.min(parent.width / area.width, parent.height / area.height)
                                : 0
                            readonly property real offsetX: area && self
                                ? self.x - area.virtualX : 0
                            readonly property real offsetY: area && self ? self.y - area.virtualY : 0

                            color: Theme.lineDark
                            height: self ? self.height * scaling + 2 : 0
                            visible: screen.showsScreens && area !== undefined
                                     && !mainWindow.leftOutOfCapture
                            width: self ? self.width * scaling + 2 : 0
                            x: area ? (parent.width - area.width * scaling) / 2 + offsetX * scaling - 1
                                    : 0
                            y: area ? (parent.height - area.height * scaling) / 2 + offsetY * scaling - 1
                                    : 0

                            MyLabel {
                                anchors.centerIn: parent
                                color: Theme.statusText
                                font.pixelSize: Theme.fontTiny
                                text: qsTr("this window")
                                visible: implicitWidth < parent.width && implicitHeight < parent.height
                            }
                        }
                    }
                }
            }
            MyLabel {
                anchors.centerIn: parent
                color: Colors.lightGrey
                text: qsTr("Waiting for the first slide")
                visible: screen.slides.length === 0
            }
        }

        RowLayout {
            Layout.fillWidth: true
            spacing: Theme.unit

            Duration {
                Layout.fillWidth: true
            }
            MyButton {
                baseColor: Theme.lineDark
                objectName: "freezeSlides"
                onDark: true
                text: mainWindow.slidesFrozen ? qsTr("Unfreeze slides") : qsTr("Freeze slides")
                toolTip: mainWindow.slidesFrozen
                         ? qsTr("Look for new slides again")
                         : qsTr("Look for no new slides until you unfreeze them")
                onClicked: mainWindow.qml_freezeSlides()
            }
            MyButton {
                baseColor: Theme.lineDark
                objectName: "captureSlide"
                onDark: true
                text: qsTr("Capture slide")
                toolTip: qsTr("Take a slide now, whether or not something changed")
                onClicked: mainWindow.qml_captureSlide()
            }
            MyButton {
                baseColor: Colors.red
                objectName: "stopRecording"
                onDark: true
                text: qsTr("Stop Recording")
                onClicked: mainWindow.qml_stopRecording()
            }
        }

        MyLabel {
            Layout.fillWidth: true
            color: Colors.brightRed
            font.bold: true
            opacity: blink.lit ? 1 : 0
            text: qsTr("Slides frozen!")
            visible: mainWindow.slidesFrozen

            Timer {
                id: blink

                property bool lit: true

                interval: 800
                repeat: true
                running: mainWindow.slidesFrozen && screen.visible
                onRunningChanged: lit = true
                onTriggered: lit = !lit
            }
        }

        Rectangle {
            Layout.fillWidth: true
            objectName: "status"
            Layout.preferredHeight: statusGrid.implicitHeight + 3 * Theme.unit
            color: Theme.panelDark
            radius: Theme.radius

            GridLayout {
                id: statusGrid

                anchors.left: parent.left
                anchors.margins: Theme.unit * 1.5
                anchors.right: parent.right
                anchors.top: parent.top
                columnSpacing: Theme.unit * 2
                columns: 2
                rowSpacing: Theme.unit / 2

                StatusLine {
                    Layout.fillWidth: true
                    Layout.preferredWidth: 1
                    // Changes with every move; like the duration it must not make a slide.
                    color: Theme.pointerText
                    font.pixelSize: Theme.fontTiny
                    name: qsTr("Mouse position: [")
                    value: mainWindow.mousePositionX + ", " + mainWindow.mousePositionY + "]"
                }
                StatusLine {
                    Layout.fillWidth: true
                    Layout.preferredWidth: 1
                    name: qsTr("Slides source: ")
                    value: mainWindow.slideSource.name()
                }
                StatusLine {
                    Layout.fillWidth: true
                    Layout.preferredWidth: 1
                    name: qsTr("Slides resolution: ")
                    value: Theme.sizesText(mainWindow.slidesResolutions.length > 0
                                           ? mainWindow.slidesResolutions
                                           : mainWindow.standInResolutions)
                }
                StatusLine {
                    Layout.fillWidth: true
                    Layout.preferredWidth: 1
                    name: qsTr("Slides captured: ")
                    value: mainWindow.slidesCaptured
                }
                StatusLine {
                    Layout.fillWidth: true
                    Layout.preferredWidth: 1
                    name: qsTr("Slides saved: ")
                    value: mainWindow.slidesSaved
                }
                StatusLine {
                    Layout.fillWidth: true
                    Layout.preferredWidth: 1
                    // Changes by itself, once a minute.
                    color: Theme.pointerText
                    font.pixelSize: Theme.fontTiny
                    name: qsTr("Disk space left: ")
                    objectName: "diskSpace"
                    value: Theme.diskText(mainWindow.diskMinutesLeft)
                    visible: mainWindow.diskMinutesLeft >= 0
                }
                LiveStreamStatus {
                    id: liveStatus

                    delegate: StatusLine {
                        required property int index

                        Layout.alignment: Qt.AlignTop
                        Layout.fillWidth: true
                        Layout.preferredWidth: 1
                        name: liveStatus.lines[index][0]
                        value: liveStatus.lines[index][1]
                        visible: mainWindow.isLiveStream
                    }
                }
            }
        }

        Item {
            Layout.fillHeight: true
            Layout.preferredHeight: 0
        }
    }
}
