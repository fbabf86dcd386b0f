import QtQuick

/// The status lines of a live stream, for the recording and the loading screen. To be placed in a
/// layout: it repeats its lines into its parent.
Repeater {
    id: status

    readonly property string webError: mainWindow.lastSlideInfoWebErrorString + " ("
                                       + mainWindow.lastSlideInfoWebError + ")"

    model: !mainWindow.isLiveStream ? [] : [
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
}
