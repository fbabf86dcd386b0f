import QtQuick

/// Choices of a list that changes by itself, as devices come and go. The keyboard's focus stays on
/// its choice, although every change of the list makes all of them anew.
Column {
    id: list

    property alias model: choices.model
    property var selected
    property var focused: null

    signal chosen(var choice)

    /// Its choice has gone: the first one is the default that takes its place.
    function keepFocus() {
        if (focused && choices.count > 0)
            choices.itemAt(0).forceActiveFocus(Qt.OtherFocusReason)
        focused = null
    }

    Repeater {
        id: choices

        onItemAdded: (index, item) => {
            if (list.focused && item.modelData.sameAs(list.focused)) {
                list.focused = null
                item.forceActiveFocus(Qt.OtherFocusReason)
            }
        }
        onItemRemoved: (index, item) => {
            if (!item.activeFocus)
                return
            list.focused = item.modelData
            Qt.callLater(list.keepFocus)
        }

        MyRadioButton {
            required property var modelData

            checked: modelData.sameAs(list.selected)
            enabled: modelData.enabled ? modelData.enabled() : true
            text: modelData.name()
            width: list.width
            onClicked: list.chosen(modelData)
        }
    }
}
