import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts
import Orvanta.Ui

// One global hotkey: its key, recorded from the next key pressed, and its modifiers as buttons.
ColumnLayout {
    id: hotkeyRow

    property alias action: row.action

    Layout.fillWidth: true
    Layout.topMargin: 4
    Layout.bottomMargin: 4
    spacing: 6

    HotkeyRowModel { id: row }

    Connections {
        target: row
        // The keyboard goes back to the key's button once a key was taken.
        function onIsRecordingChanged() {
            if (!row.isRecording && recorder.activeFocus)
                keyButton.forceActiveFocus()
        }
    }

    RowLayout {
        Layout.fillWidth: true
        Label {
            text: row.displayName
            Layout.fillWidth: true
            // Behind the row's name, out of the layout: it has the keyboard while the row records.
            HotkeyRecorder {
                id: recorder
                row: row
            }
        }
        Button {
            id: keyButton
            Layout.minimumWidth: 120
            // A click leaves the keyboard with the recorder, so that a second click ends it.
            focusPolicy: Qt.TabFocus
            text: row.isRecording ? "Press a key..." : row.keyName
            palette.buttonText: row.isRecording ? Theme.accent : Theme.secondaryText
            Accessible.name: row.displayName + " key: " + text
            onClicked: row.toggleRecording()
        }
    }
    RowLayout {
        Layout.fillWidth: true
        spacing: 4
        Label { text: "Modifiers:"; color: Theme.secondaryText }
        Repeater {
            model: row.modifierKeys
            delegate: ToggleButton {
                required property var modelData
                Layout.preferredWidth: 56
                text: modelData.name
                checked: (row.modifiers & modelData.flag) !== 0
                onClicked: row.setModifier(modelData.flag, !checked)
            }
        }
        Item { Layout.fillWidth: true }
    }
}
