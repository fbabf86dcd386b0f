import QtQuick
import QtQuick.Templates as T
import "../colors.js" as Colors
import "../theme.js" as Theme

/// The scrolling list of recordings. One stop of the Tab key; the arrow keys go through its rows
/// and Enter opens the current one.
ListView {
    id: list

    signal openRequested(string directory)

    activeFocusOnTab: true
    boundsBehavior: Flickable.StopAtBounds
    clip: true
    currentIndex: 0
    highlightMoveDuration: 0
    keyNavigationEnabled: true
    reuseItems: true

    // Rows are sorted in while the list is read; the current one would travel with the first.
    onCountChanged: if (!activeFocus)
        currentIndex = count > 0 ? 0 : -1

    Accessible.name: qsTr("Recordings")
    Accessible.role: Accessible.List
    Keys.onEnterPressed: if (currentItem) currentItem.open()
    Keys.onReturnPressed: if (currentItem) currentItem.open()
    Keys.onSpacePressed: if (currentItem) currentItem.open()
    Keys.onPressed: event => {
        const page = Math.max(1, Math.floor(height / Theme.presentationRowHeight) - 1)
        const target = event.key === Qt.Key_Home ? 0
                     : event.key === Qt.Key_End ? count - 1
                     : event.key === Qt.Key_PageUp ? Math.max(0, currentIndex - page)
                     : event.key === Qt.Key_PageDown ? Math.min(count - 1, currentIndex + page)
                     : -1
        if (target >= 0) {
            currentIndex = target
            event.accepted = true
        }
    }

    T.ScrollBar.vertical: MyScrollBar {}

    delegate: MyPresentationListDelegate {
        width: list.width
        onOpenRequested: directory => list.openRequested(directory)
    }
}
