import QtQuick
import QtQuick.Templates as T
import "../colors.js" as Colors
import "../theme.js" as Theme

/// The error messages of a recording, one below the other. Grows to a few lines, then scrolls; the
/// newest message is always in sight.
Rectangle {
    id: log

    /// Enough to see what went wrong first; a device that fails every second for hours must not
    /// make the window slow.
    readonly property int maximumMessages: 200
    property var messages: []

    function add(message) {
        // Pressed again, refused again: the same words once.
        if (messages.length === 0 || messages[messages.length - 1] !== message)
            messages = messages.concat([message]).slice(-maximumMessages)
    }
    function clear() {
        messages = []
    }

    // The half-transparent black lies on the dark background, whatever page is below.
    color: Colors.bgDark
    height: visible ? Math.min(label.height, 5 * label.lineHeight) + Theme.unit : 0
    visible: messages.length > 0

    Rectangle {
        anchors.fill: parent
        color: "#80000000"
    }
    Flickable {
        id: flickable

        function scroll(distance) {
            contentY = Math.max(0, Math.min(contentHeight - height, contentY + distance))
        }

        activeFocusOnTab: contentHeight > height
        anchors.fill: parent
        anchors.leftMargin: Theme.unit
        anchors.margins: Theme.unit / 2
        anchors.rightMargin: dismiss.width + Theme.unit
        boundsBehavior: Flickable.StopAtBounds
        clip: true
        contentHeight: label.height
        objectName: "errorScroll"

        // No binding of contentY: it would end with the first key.
        onContentHeightChanged: scroll(contentHeight)
        onHeightChanged: scroll(contentHeight)

        Accessible.name: qsTr("Messages")
        Accessible.role: Accessible.Pane
        Keys.onDownPressed: scroll(label.lineHeight)
        Keys.onUpPressed: scroll(-label.lineHeight)
        Keys.onPressed: event => {
            const page = { [Qt.Key_PageDown]: height, [Qt.Key_PageUp]: -height,
                           [Qt.Key_Home]: -contentHeight, [Qt.Key_End]: contentHeight }[event.key]
            event.accepted = page !== undefined
            if (event.accepted)
                scroll(page)
        }
        T.ScrollBar.vertical: MyScrollBar {}

        MyLabel {
            id: label

            color: Colors.brightRed
            elide: Text.ElideNone
            font.pixelSize: Theme.fontTiny
            lineHeight: 13
            lineHeightMode: Text.FixedHeight
            objectName: "errorLabel"
            text: log.messages.join("\n")
            width: flickable.width - Theme.unit
            wrapMode: Text.Wrap

            Accessible.role: Accessible.AlertMessage
        }
    }
    Rectangle {
        anchors.fill: parent
        border.color: Theme.focusOnDark
        border.width: Theme.focusRing
        color: "transparent"
        visible: flickable.activeFocus
    }
    MyButton {
        id: dismiss

        anchors.right: parent.right
        anchors.rightMargin: Theme.unit / 2
        anchors.top: parent.top
        anchors.topMargin: 3
        baseColor: Theme.lineDark
        font.pixelSize: Theme.fontTiny
        implicitHeight: 16
        leftPadding: Theme.unit
        onDark: true
        rightPadding: Theme.unit
        text: qsTr("Dismiss")
        onClicked: log.clear()
    }
}
