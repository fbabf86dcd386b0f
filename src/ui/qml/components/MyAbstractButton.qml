import QtQuick
import QtQuick.Templates as T
import "../theme.js" as Theme

/// What all that can be pressed has in common: a name and a role for screen readers, the Tab key,
/// and Enter beside the Space that the template knows.
T.AbstractButton {
    id: control

    property string toolTip

    function press(event) {
        if (!event.isAutoRepeat)
            clicked()
    }

    focusPolicy: Qt.StrongFocus
    font.family: Theme.fontFamily
    font.pixelSize: Theme.fontBody
    hoverEnabled: true

    Accessible.description: toolTip
    Accessible.name: text
    Accessible.role: Accessible.Button
    Keys.onEnterPressed: event => press(event)
    Keys.onReturnPressed: event => press(event)

    MyToolTip {
        text: control.toolTip
        visible: control.hovered && control.toolTip.length > 0
    }
}
