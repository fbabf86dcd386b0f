import QtQuick
import QtQuick.Templates as T
import "../theme.js" as Theme
import "../colors.js" as Colors

T.ScrollBar {
    id: control

    implicitHeight: Theme.unit + 2
    implicitWidth: Theme.unit + 2
    minimumSize: 0.08
    padding: 2
    visible: size < 1

    Accessible.ignored: true

    contentItem: Rectangle {
        color: control.pressed || control.hovered ? Colors.darkGrey : Colors.lightGrey
        implicitHeight: 6
        implicitWidth: 6
        radius: 3
    }
}
