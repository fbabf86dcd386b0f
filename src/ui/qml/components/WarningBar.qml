import QtQuick
import "../colors.js" as Colors
import "../theme.js" as Theme

/// A red bar across the window for something that the operator has to do outside of the recorder.
Rectangle {
    id: bar

    property alias text: label.text

    color: Colors.red
    height: label.implicitHeight + 2 * Theme.unit
    opacity: 0.8

    MyLabel {
        id: label

        color: Colors.white
        font.pixelSize: Theme.fontSmall
        textFormat: Text.StyledText
        width: bar.width - 4 * Theme.unit
        wrapMode: Text.Wrap
        x: 2 * Theme.unit
        y: Theme.unit

        Accessible.role: Accessible.AlertMessage
    }
}
