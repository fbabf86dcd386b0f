import QtQuick
import "../../theme.js" as Theme
import "../../components"
import "settings"

MyScrollPage {
    spacing: 3 * Theme.unit

    CaptureTypeSelect {
        width: parent.width
    }
    AudioInputSelect {
        width: parent.width
    }
    VMixSettings {
        width: parent.width
    }
}
