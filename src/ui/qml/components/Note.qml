import QtQuick
import "../colors.js" as Colors
import "../theme.js" as Theme

/// An explanation below a heading; a text of these screens, so <br> counts.
MyLabel {
    color: Colors.darkGrey
    elide: Text.ElideNone
    font.pixelSize: Theme.fontSmall
    textFormat: Text.StyledText
    width: parent ? parent.width : implicitWidth
    wrapMode: Text.Wrap
}
