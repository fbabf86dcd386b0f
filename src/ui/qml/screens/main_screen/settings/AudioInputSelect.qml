import QtQuick
import "../../../theme.js" as Theme
import "../../../components"

Column {
    spacing: Theme.unit

    SectionHeading {
        text: qsTr("Audio input")
    }
    Column {
        width: parent.width

        Repeater {
            model: recorderSettings.availableAudioInputs

            MyRadioButton {
                required property var modelData

                checked: modelData.sameAs(recorderSettings.selectedAudioInput)
                text: modelData.name()
                width: parent.width
                onClicked: recorderSettings.selectedAudioInput = modelData
            }
        }
    }
    Note {
        text: qsTr("No audio input was found. Connect a microphone; it appears here within a second.")
        visible: recorderSettings.availableAudioInputs.length === 0
    }

    SectionHeading {
        section: false
        text: qsTr("Audio channel count")
    }
    Column {
        width: parent.width

        MyRadioButton {
            checked: recorderSettings.audioChannelCount === 1
            objectName: "channels1"
            text: qsTr("1 channel")
            width: parent.width
            onClicked: recorderSettings.audioChannelCount = 1
        }
        MyRadioButton {
            checked: recorderSettings.audioChannelCount === 2
            objectName: "channels2"
            text: qsTr("2 channels")
            width: parent.width
            onClicked: recorderSettings.audioChannelCount = 2
        }
    }
}
