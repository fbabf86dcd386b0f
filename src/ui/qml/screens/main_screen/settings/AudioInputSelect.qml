import QtQuick
import "../../../theme.js" as Theme
import "../../../components"

Column {
    spacing: Theme.unit

    SectionHeading {
        text: qsTr("Audio input")
    }
    ChoiceList {
        model: recorderSettings.availableAudioInputs
        selected: recorderSettings.selectedAudioInput
        width: parent.width
        onChosen: choice => recorderSettings.selectedAudioInput = choice
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
