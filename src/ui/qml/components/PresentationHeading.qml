import QtQuick
import "../colors.js" as Colors
import "../theme.js" as Theme

/// What is being recorded: the title, and while live streaming the id and the title as links to
/// the page where the presentation is edited.
Row {
    id: heading

    /// What follows the id in the address of that page.
    required property string editPath

    readonly property bool linked: mainWindow.isLiveStream && String(editUrl).length > 0
    readonly property url editUrl: mainWindow.qml_presentationUrl(
                                       mainWindow.liveStreamPresentationId, editPath)

    clip: true
    spacing: Theme.unit

    MyLink {
        id: idLink

        font.bold: true
        onDark: true
        text: mainWindow.liveStreamPresentationId
        url: heading.editUrl
        visible: heading.linked
        width: Math.min(implicitWidth, heading.width / 2)
    }
    MyLink {
        onDark: true
        text: mainWindow.liveStreamPresentationTitle
        url: heading.editUrl
        visible: heading.linked
        width: Math.min(implicitWidth, heading.width - idLink.width - heading.spacing)
    }
    MyLabel {
        color: Colors.white
        font.bold: true
        text: mainWindow.liveStreamPresentationTitle
        visible: !heading.linked
        width: Math.min(implicitWidth, heading.width)
    }
}
