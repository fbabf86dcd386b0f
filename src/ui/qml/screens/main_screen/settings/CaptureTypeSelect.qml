import QtQuick
import "../../../theme.js" as Theme
import "../../../components"

Column {
    id: section

    /// What is typed as a size: a whole number, and 0 for anything else.
    function toSize(text) {
        return /^\s*\d{1,9}\s*$/.test(text) ? parseInt(text, 10) : 0
    }

    spacing: Theme.unit

    SectionHeading {
        text: qsTr("Slide source")
    }
    ChoiceList {
        model: recorderSettings.availableSlideSources
        objectName: "slideSources"
        selected: recorderSettings.selectedSlideSource
        width: parent.width
        onChosen: choice => recorderSettings.selectedSlideSource = choice
    }

    SectionHeading {
        section: false
        text: qsTr("Slide resolution")
    }
    Note {
        text: qsTr("Resolution setting is only used when slide source is camera or capture card. It is not used for either NDI, interval nor event driven screen recording.<br>No resizing is done in Podiumcast Recorder, this resolution is only sent to the slide source device.")
    }
    MyCheckBox {
        checked: recorderSettings.useNativeSlideSourceResolution
        objectName: "nativeResolution"
        text: qsTr("Use native slide source resolution")
        width: parent.width
        onToggled: recorderSettings.useNativeSlideSourceResolution = checked
    }
    Row {
        spacing: Theme.unit
        visible: !recorderSettings.useNativeSlideSourceResolution

        MyTextEdit {
            id: widthField

            label: qsTr("Slide width")
            objectName: "slideWidth"
            text: recorderSettings.slideWidth
            width: 100
            Keys.onEnterPressed: heightField.forceActiveFocus(Qt.TabFocusReason)
            Keys.onReturnPressed: heightField.forceActiveFocus(Qt.TabFocusReason)
            onEditingFinished: {
                recorderSettings.slideWidth = section.toSize(text)
                text = Qt.binding(() => recorderSettings.slideWidth)
            }
        }
        MyLabel {
            height: widthField.height
            text: "×"
            verticalAlignment: Text.AlignVCenter
        }
        MyTextEdit {
            id: heightField

            label: qsTr("Slide height")
            objectName: "slideHeight"
            text: recorderSettings.slideHeight
            width: 100
            Keys.onEnterPressed: widthField.forceActiveFocus(Qt.TabFocusReason)
            Keys.onReturnPressed: widthField.forceActiveFocus(Qt.TabFocusReason)
            onEditingFinished: {
                recorderSettings.slideHeight = section.toSize(text)
                text = Qt.binding(() => recorderSettings.slideHeight)
            }
        }
    }

    SectionHeading {
        section: false
        text: qsTr("Pointer recording")
    }
    Note {
        text: qsTr("Pointer recording only works with Interval screen capture. If you select another slide source no pointer will be recorded.")
    }
    MyCheckBox {
        checked: recorderSettings.pointerRecordingEnabled
        objectName: "pointerRecording"
        text: qsTr("Enable pointer recording")
        width: parent.width
        onToggled: recorderSettings.pointerRecordingEnabled = checked
    }
}
