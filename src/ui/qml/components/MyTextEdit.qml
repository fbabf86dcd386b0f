import QtQuick
import QtQuick.Templates as T
import "../colors.js" as Colors
import "../theme.js" as Theme

/// A one-line text field. The label beside or above it belongs to the page; it is repeated here
/// for screen readers.
T.TextField {
    id: control

    required property string label

    activeFocusOnTab: true
    color: Theme.textOnLight
    font.family: Theme.fontFamily
    font.pixelSize: Theme.fontBody
    hoverEnabled: true
    implicitHeight: Theme.controlHeight
    implicitWidth: 200
    leftPadding: Theme.unit
    passwordCharacter: "*"
    placeholderTextColor: Colors.darkGrey
    rightPadding: Theme.unit
    selectByMouse: true
    selectedTextColor: Colors.white
    selectionColor: Colors.blue
    verticalAlignment: TextInput.AlignVCenter

    Accessible.name: label
    Accessible.role: Accessible.EditableText

    background: Rectangle {
        border.color: control.activeFocus || control.hovered ? Colors.blue : Colors.lightGrey
        border.width: control.activeFocus ? 2 : 1
        color: Colors.white
        opacity: control.enabled ? 1 : 0.5
        radius: Theme.radius
    }

    cursorDelegate: Rectangle {
        color: Theme.textOnLight
        visible: control.cursorVisible
        width: 1
    }
}
