import QtQuick
import "../colors.js" as Colors
import "../theme.js" as Theme

/// "name: value" on the dark screens.
MyLabel {
    required property string name
    property string value

    color: Colors.lightGrey
    font.pixelSize: Theme.fontSmall
    maximumLineCount: 2
    text: name + value
    wrapMode: Text.Wrap
}
