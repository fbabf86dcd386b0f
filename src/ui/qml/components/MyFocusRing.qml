import QtQuick
import "../theme.js" as Theme

/// The ring around the control that has the keyboard's focus.
Rectangle {
    required property Item control
    property bool onDark: false

    anchors.fill: parent
    anchors.margins: -Theme.focusRing - 1
    border.color: onDark ? Theme.focusOnDark : Theme.focusOnLight
    border.width: Theme.focusRing
    color: "transparent"
    radius: Theme.radius + Theme.focusRing + 1
    visible: control.visualFocus
}
