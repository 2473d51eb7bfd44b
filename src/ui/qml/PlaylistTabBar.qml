import QtQuick
import QtQuick.Controls.Fusion
import Orvanta.Ui

// The named playlists side by side, then the button that makes a new one.
Rectangle {
    id: bar

    // The editor's "playlists" entries.
    property var playlists: []
    property string selectedId
    property string activeId

    signal selected(string playlistId)
    signal createNew
    signal rename(string playlistId, string name)
    signal duplicate(string playlistId)
    signal remove(string playlistId)

    color: Theme.control
    implicitHeight: row.implicitHeight + 16

    Flickable {
        anchors.fill: parent
        anchors.margins: 8
        contentWidth: row.implicitWidth
        contentHeight: height
        flickableDirection: Flickable.HorizontalFlick
        boundsBehavior: Flickable.StopAtBounds
        clip: true

        Row {
            id: row
            spacing: 6

            Repeater {
                model: bar.playlists
                delegate: PlaylistTab {
                    required property var modelData
                    name: modelData.name
                    count: modelData.count
                    isProtected: modelData.isProtected
                    isSelected: modelData.playlistId === bar.selectedId
                    isActive: modelData.playlistId === bar.activeId
                    onClicked: bar.selected(modelData.playlistId)
                    onRenameRequested: bar.rename(modelData.playlistId, modelData.name)
                    onDuplicateRequested: bar.duplicate(modelData.playlistId)
                    onDeleteRequested: bar.remove(modelData.playlistId)
                }
            }
            SymbolButton {
                anchors.verticalCenter: parent.verticalCenter
                width: 28
                height: 28
                padding: 0
                text: "Create new playlist"
                symbol: "plus"
                symbolSize: Theme.caption
                symbolColor: Theme.secondaryText
                background: Rectangle {
                    radius: 6
                    color: Theme.window
                    border.width: parent.visualFocus ? 1 : 0
                    border.color: Theme.accent
                }
                onClicked: bar.createNew()
            }
        }
    }
}
