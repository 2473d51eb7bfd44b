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
        ToolButton {
            text: "Previous"
            display: AbstractButton.IconOnly
            icon.name: SymbolTable.iconName("backward.fill")
            icon.source: SymbolTable.iconSource("backward.fill")
            icon.color: Theme.primaryText
            icon.width: Theme.title3
            icon.height: Theme.title3
            Accessible.name: text
            ToolTip.visible: hovered
            ToolTip.text: text
            onClicked: SettingsContext.previousVideo()
        }
        ToolButton {
            readonly property string symbol: SettingsContext.isPlaying ? "pause.fill" : "play.fill"
            text: SettingsContext.isPlaying ? "Pause" : "Play"
            display: AbstractButton.IconOnly
            icon.name: SymbolTable.iconName(symbol)
            icon.source: SymbolTable.iconSource(symbol)
            icon.color: Theme.primaryText
            icon.width: Theme.title2
            icon.height: Theme.title2
            Accessible.name: text
            ToolTip.visible: hovered
            ToolTip.text: text
            onClicked: SettingsContext.togglePlayPause()
        }
        ToolButton {
            text: "Next"
            display: AbstractButton.IconOnly
            icon.name: SymbolTable.iconName("forward.fill")
            icon.source: SymbolTable.iconSource("forward.fill")
            icon.color: Theme.primaryText
            icon.width: Theme.title3
            icon.height: Theme.title3
            Accessible.name: text
            ToolTip.visible: hovered
            ToolTip.text: text
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
