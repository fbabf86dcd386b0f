import QtQuick
import "../theme.js" as Theme

/// "name: value" on the dark screens.
MyLabel {
    required property string name
    property string value

    color: Theme.statusText
    font.pixelSize: Theme.fontSmall
    maximumLineCount: 2
    text: name + value
    wrapMode: Text.Wrap
}
