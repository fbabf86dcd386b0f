import QtQuick
import "../colors.js" as Colors
import "../theme.js" as Theme

/// One recording of the list.
Rectangle {
    id: row

    required property var presentationObject
    required property string title
    required property string directory
    required property int slideCount
    required property string recordedAtString
    required property int index

    readonly property bool recovered: presentationObject ? presentationObject.recovered : false
    readonly property bool current: ListView.isCurrentItem && ListView.view.activeFocus
    readonly property string details: qsTr("%1 slide(s)").arg(slideCount) + " · " + recordedAtString

    signal openRequested(string directory)

    function open() {
        openRequested(directory)
    }

    color: hover.hovered ? Theme.blueTint : Colors.white
    height: Theme.presentationRowHeight

    Accessible.description: recovered ? recoveredMark.explanation : ""
    Accessible.name: title + ", " + details + (recovered ? ", " + recoveredMark.text : "")
    Accessible.role: Accessible.ListItem

    HoverHandler {
        id: hover
    }
    TapHandler {
        onTapped: row.ListView.view.currentIndex = row.index
    }
    MyLabel {
        anchors.bottom: parent.verticalCenter
        anchors.bottomMargin: 1
        anchors.left: parent.left
        anchors.leftMargin: Theme.unit * 2
        anchors.right: openButton.left
        anchors.rightMargin: Theme.unit
        font.bold: true
        text: row.title
    }
    MyLabel {
        id: detailsLabel

        anchors.left: parent.left
        anchors.leftMargin: Theme.unit * 2
        anchors.top: parent.verticalCenter
        anchors.topMargin: 2
        color: Colors.darkGrey
        font.pixelSize: Theme.fontSmall
        text: row.details
        width: Math.min(implicitWidth, openButton.x - x - Theme.unit
                        - (row.recovered ? recoveredMark.width + Theme.unit : 0))
    }
    Rectangle {
        anchors.fill: recoveredMark
        anchors.leftMargin: -Theme.unit / 2
        anchors.rightMargin: -Theme.unit / 2
        border.color: Theme.line
        color: Colors.bgLight
        radius: Theme.radius
        visible: row.recovered
    }
    MyLabel {
        id: recoveredMark

        readonly property string explanation: qsTr("The recorder or the computer ended in the middle of this recording. It was repaired at the next start; at most its last two seconds are missing.")

        anchors.left: detailsLabel.right
        anchors.leftMargin: Theme.unit * 1.5
        anchors.verticalCenter: detailsLabel.verticalCenter
        color: Colors.darkGrey
        font.pixelSize: Theme.fontTiny
        text: qsTr("recovered")
        visible: row.recovered
        Accessible.ignored: true // said by the row

        HoverHandler {
            id: recoveredHover
        }
        MyToolTip {
            text: recoveredMark.explanation
            visible: recoveredHover.hovered
            width: 36 * Theme.unit
        }
    }
    MyButton {
        id: openButton

        anchors.right: parent.right
        anchors.rightMargin: Theme.unit * 2
        baseColor: hover.hovered ? Colors.white : Theme.blueTint
        textColor: Theme.blueOnLight
        anchors.verticalCenter: parent.verticalCenter
        // The Tab key stops at the current row's button only: a stop at each of thousands of
        // buttons would put the rest of the window out of reach.
        focusPolicy: row.ListView.isCurrentItem ? Qt.StrongFocus : Qt.ClickFocus
        implicitHeight: Theme.controlHeight - 4
        text: qsTr("Open")
        Accessible.name: qsTr("Open %1").arg(row.title)
        onClicked: row.open()
    }
    Rectangle {
        anchors.bottom: parent.bottom
        color: Theme.line
        height: 1
        width: parent.width
    }
    Rectangle {
        anchors.fill: parent
        anchors.margins: 2
        border.color: Theme.focusOnLight
        border.width: Theme.focusRing
        color: "transparent"
        radius: Theme.radius
        visible: row.current
    }
}
