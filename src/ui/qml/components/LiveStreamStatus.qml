import QtQuick

/// The status lines of a live stream, for the recording and the loading screen. To be placed in a
/// layout: it repeats its lines into its parent. The lines are always there and shown while live
/// streaming: Qt's layouts crash when items go while the layout itself is hidden (Qt 6.4).
Repeater {
    id: status

    readonly property string webError: mainWindow.lastSlideInfoWebErrorString + " ("
                                       + mainWindow.lastSlideInfoWebError + ")"

    readonly property var lines: [
        [qsTr("Slides to upload: "), mainWindow.slidesToUpload],
        [qsTr("Slides uploaded: "), mainWindow.slidesUploaded],
        [qsTr("Slides upload failed: "), mainWindow.slidesUploadFailed],
        [qsTr("Slides created on web: "), mainWindow.slideInfoWebSuccessCount],
        [qsTr("Slides failed to create on web: "), mainWindow.slideInfoWebFailCount],
        [qsTr("Last slide creating failed: "),
         mainWindow.lastSlideInfoWebSuccess ? qsTr("no") : qsTr("yes")],
        [qsTr("Last slide creating error: "), webError],
        [qsTr("vMix API polling: "), liveStreamSettings.pollVMixApi
            ? qsTr("enabled (every %1 ms)").arg(liveStreamSettings.vMixApiPollInterval)
            : qsTr("disabled")],
    ]

    model: 8
}
