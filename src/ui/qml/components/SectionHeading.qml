import QtQuick
import "../colors.js" as Colors
import "../theme.js" as Theme

MyLabel {
    property bool section: true

    color: section ? Colors.blue : Theme.textOnLight
    font.bold: true
    font.capitalization: section ? Font.AllUppercase : Font.MixedCase
    width: parent ? parent.width : implicitWidth
    wrapMode: Text.Wrap

    Accessible.role: Accessible.Heading
}
