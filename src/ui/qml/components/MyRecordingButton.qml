import QtQuick
import QtQuick.Templates as T
import "../theme.js" as Theme

/// The round record button.
T.AbstractButton {
    id: control

    property string toolTip

    focusPolicy: Qt.StrongFocus
    hoverEnabled: true
    implicitHeight: 104
    implicitWidth: 104

    Accessible.description: toolTip
    Accessible.name: text
    Accessible.role: Accessible.Button
    Keys.onEnterPressed: click()
    Keys.onReturnPressed: click()

    background: Item {
        MyFocusRing {
            anchors.margins: -Theme.focusRing - 2
            control: control
            onDark: true
            radius: width / 2
        }
    }
    contentItem: MyImage {
        opacity: control.down ? 0.8 : 1
        source: control.hovered ? "qrc:/images/recording_button--hover.png"
                                : "qrc:/images/recording_button.png"
        sourceSize: Qt.size(control.width * Screen.devicePixelRatio,
                            control.height * Screen.devicePixelRatio)
    }

    MyToolTip {
        text: control.toolTip
        visible: control.hovered && control.toolTip.length > 0
    }
}
