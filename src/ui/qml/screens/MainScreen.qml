import QtQuick
import "../colors.js" as Colors
import "../theme.js" as Theme
import "main_screen"

/// The window while nothing is recorded: the menu at the left, the chosen page beside it.
Item {
    id: screen

    Menu {
        id: menu

        height: parent.height
        objectName: "menu"
        width: Theme.menuWidth
    }

    Rectangle {
        anchors.bottom: parent.bottom
        anchors.left: menu.right
        anchors.right: parent.right
        anchors.top: parent.top
        color: Colors.bgLight

        // A page is made when it is first chosen, and then keeps what was typed into it.
        Page {
            page: "presentationList"
            sourceComponent: PresentationList {}
        }
        Page {
            page: "settings"
            sourceComponent: Settings {}
        }
        Page {
            page: "liveStream"
            sourceComponent: LiveStream {}
        }
    }

    component Page: Loader {
        required property string page
        readonly property bool chosen: menu.selected === page

        active: false
        anchors.fill: parent
        visible: chosen
        Component.onCompleted: active = active || chosen
        onChosenChanged: active = active || chosen
    }
}
