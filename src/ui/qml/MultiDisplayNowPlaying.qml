import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts
import Orvanta.Ui

// Several screens: the playback buttons for all of them, then a card per screen.
ColumnLayout {
    id: multi

    property var displays

    spacing: 0

    RowLayout {
        Layout.fillWidth: true
        Layout.margins: 12
        spacing: 4
        SymbolButton {
            text: "Previous"
            symbol: "backward.fill"
            onClicked: SettingsContext.previousVideo()
        }
        SymbolButton {
            text: SettingsContext.isPlaying ? "Pause" : "Play"
            symbol: SettingsContext.isPlaying ? "pause.fill" : "play.fill"
            symbolSize: Theme.title2
            onClicked: SettingsContext.togglePlayPause()
        }
        SymbolButton {
            text: "Next"
            symbol: "forward.fill"
            onClicked: SettingsContext.nextVideo()
        }
        Item { Layout.fillWidth: true }
        StatusBadge {}
    }
    Rectangle {
        Layout.fillWidth: true
        implicitHeight: 1
        color: Theme.separator
    }
    ListView {
        id: list
        Layout.fillWidth: true
        Layout.fillHeight: true
        clip: true
        spacing: 12
        topMargin: 12
        bottomMargin: 12
        model: multi.displays
        ScrollBar.vertical: ScrollBar {}
        delegate: DisplayCard {
            required property var model
            required property int index
            x: 12
            width: list.width - 24
            screenName: model.screenName
            manager: model.manager
            playlistName: model.playlistName
            onTogglePlayback: multi.displays.togglePlayback(index)
        }
    }
}
