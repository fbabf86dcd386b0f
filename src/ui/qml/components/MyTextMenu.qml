import QtQuick

/// A menu of pages: entries is a list of { value, text }; selected is the chosen entry's value.
Column {
    id: menu

    property var entries: []
    property string selected

    Accessible.name: qsTr("Pages")
    Accessible.role: Accessible.PageTabList

    Repeater {
        model: menu.entries

        MyTextMenuButton {
            required property var modelData

            objectName: "menu_" + modelData.value
            selected: menu.selected === modelData.value
            text: modelData.text
            width: menu.width
            onClicked: menu.selected = modelData.value
        }
    }
}
