import QtQuick
import "../../../theme.js" as Theme
import "../../../components"

Column {
    spacing: Theme.unit

    SectionHeading {
        text: qsTr("vMix API")
    }
    Note {
        text: qsTr("Enables polling vMix API. Allows Podiumcast player integrations based on vMix state.")
    }
    MyCheckBox {
        checked: liveStreamSettings.pollVMixApi
        objectName: "pollVMix"
        text: qsTr("Poll vMix API")
        width: parent.width
        onToggled: liveStreamSettings.pollVMixApi = checked
    }
    MyLabel {
        text: qsTr("vMix API endpoint")
        width: parent.width
    }
    MyTextEdit {
        label: qsTr("vMix API endpoint")
        objectName: "vMixEndpoint"
        text: liveStreamSettings.vMixApiEndpoint
        width: parent.width
        onEditingFinished: {
            liveStreamSettings.vMixApiEndpoint = text
            text = Qt.binding(() => liveStreamSettings.vMixApiEndpoint)
        }
    }
    MyLabel {
        text: qsTr("vMix API poll interval in milliseconds")
        width: parent.width
        wrapMode: Text.Wrap
    }
    MyTextEdit {
        label: qsTr("vMix API poll interval in milliseconds")
        objectName: "vMixInterval"
        text: liveStreamSettings.vMixApiPollInterval
        width: 100
        onEditingFinished: {
            if (/^\s*[+-]?\d{1,15}\s*$/.test(text))
                liveStreamSettings.vMixApiPollInterval = parseInt(text, 10)
            text = Qt.binding(() => liveStreamSettings.vMixApiPollInterval)
        }
    }
}
