import QtQuick
import QtQuick.Templates as T
import "../theme.js" as Theme
import "../colors.js" as Colors

/// A page that scrolls when it is taller than the window; the control with the keyboard's focus is
/// always scrolled into view.
Flickable {
    id: page

    default property alias content: column.data
    property alias spacing: column.spacing

    readonly property Item focusedItem: Window.activeFocusItem

    boundsBehavior: Flickable.StopAtBounds
    clip: true
    contentHeight: column.height + 2 * column.y
    contentWidth: width

    T.ScrollBar.vertical: MyScrollBar {}

    onFocusedItemChanged: {
        let ancestor = focusedItem
        while (ancestor && ancestor !== column)
            ancestor = ancestor.parent
        if (!ancestor)
            return
        const top = focusedItem.mapToItem(column, 0, 0).y + column.y
        const bottom = top + focusedItem.height
        if (top < contentY + Theme.unit)
            contentY = Math.max(0, top - Theme.unit)
        else if (bottom > contentY + height - Theme.unit)
            contentY = Math.min(contentHeight - height, bottom + Theme.unit - height)
    }

    Rectangle {
        color: Colors.bgLight
        height: Math.max(page.height, page.contentHeight)
        width: page.width
    }
    Column {
        id: column

        spacing: Theme.unit
        // Lines of more than some eighty letters are hard to read.
        width: Math.min(page.width - 2 * x - Theme.unit, 70 * Theme.unit)
        x: Theme.unit * 2
        y: Theme.unit * 2
    }
}
