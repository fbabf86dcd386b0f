import QtQuick
import "../theme.js" as Theme

/// The round record button.
MyAbstractButton {
    id: control

    implicitHeight: 104
    implicitWidth: 104

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
}
