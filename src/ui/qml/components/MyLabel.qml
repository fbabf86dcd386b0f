import QtQuick
import "../colors.js" as Colors
import "../theme.js" as Theme

/// A text. What comes from outside is shown as it is: plain text is the default, and a rich text
/// is one that is written in these screens. Without wrapping it is one line, whatever line feeds are
/// in it.
Text {
    id: label

    /// What a screen reader says instead of the text, for rich texts.
    property string spokenText: textFormat === Text.PlainText
                                ? text : text.replace(/<br>/g, " ").replace(/<[^>]*>/g, "")

    color: Theme.textOnLight
    elide: Text.ElideRight
    font.family: Theme.fontFamily
    font.pixelSize: Theme.fontBody
    linkColor: Colors.blue
    maximumLineCount: textFormat === Text.PlainText && wrapMode === Text.NoWrap ? 1 : undefined
    textFormat: Text.PlainText

    Accessible.ignored: spokenText.length === 0
    Accessible.name: spokenText
    Accessible.role: Accessible.StaticText
}
