import QtQuick
import "../colors.js" as Colors
import "../theme.js" as Theme

/// The running duration: hours, minutes and seconds, and the milliseconds less prominent.
Item {
    id: duration

    readonly property string time: mainWindow.recordingDurationString

    implicitHeight: whole.implicitHeight

    Accessible.name: qsTr("Duration: %1").arg(time.split(".")[0])
    Accessible.role: Accessible.StaticText

    // Roboto's digits are all equally wide, so only those that change are drawn anew.
    MyLabel {
        id: whole

        anchors.verticalCenter: parent.verticalCenter
        color: Theme.durationText
        font.pixelSize: Theme.fontDuration
        objectName: "duration"
        text: duration.time.split(".")[0]
        Accessible.ignored: true
    }
    MyLabel {
        anchors.baseline: whole.baseline
        anchors.left: whole.right
        color: Theme.durationFraction
        font.pixelSize: Theme.fontFraction
        text: duration.time.length > 0 ? "." + duration.time.split(".")[1] : ""
        Accessible.ignored: true
    }
}
