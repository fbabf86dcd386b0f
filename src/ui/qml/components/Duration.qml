import QtQuick
import "../colors.js" as Colors
import "../theme.js" as Theme

/// The running duration: hours, minutes and seconds, and the milliseconds less prominent.
Item {
    id: duration

    readonly property string time: mainWindow.recordingDurationString
    readonly property string seconds: time.split(".")[0] // changes once in ten times

    implicitHeight: whole.implicitHeight

    Accessible.name: qsTr("Duration: %1").arg(seconds)
    Accessible.role: Accessible.StaticText

    // Roboto's digits are all equally wide, so only those that change are drawn anew.
    MyLabel {
        id: whole

        anchors.verticalCenter: parent.verticalCenter
        color: Theme.durationText
        font.pixelSize: Theme.fontDuration
        objectName: "duration"
        text: duration.seconds
        Accessible.ignored: true
    }
    MyLabel {
        anchors.baseline: whole.baseline
        anchors.left: whole.right
        color: Theme.durationFraction
        font.pixelSize: Theme.fontFraction
        text: duration.time.slice(duration.seconds.length)
        Accessible.ignored: true
    }
}
