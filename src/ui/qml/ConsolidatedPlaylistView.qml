import QtQml
import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts
import Orvanta.Ui

// The Playlists page: the screen whose assignment is edited, the playlists as tabs, and the
// shown playlist's videos with their switches, search, order and options.
Item {
    id: page

    PlaylistEditor { id: editor }

    PlaylistNameSheet {
        id: newSheet
        editor: editor
        title: "New Playlist"
        confirmText: "Create"
        onConfirmed: (name) => editor.createPlaylist(name)
        onClosed: editor.newPlaylistName = name
    }
    PlaylistNameSheet {
        id: renameSheet
        property string playlistId
        editor: editor
        title: "Rename Playlist"
        confirmText: "Rename"
        onConfirmed: (name) => editor.renamePlaylist(playlistId, name)
    }

    function openNewSheet(name) {
        newSheet.name = name
        newSheet.open()
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        // Screen strip: the synced banner, or one button per screen.
        Rectangle {
            Layout.fillWidth: true
            visible: editor.syncEnabled
            implicitHeight: bannerRow.implicitHeight + 20
            color: Qt.rgba(0xf0 / 255, 0xa0 / 255, 0x30 / 255, 0.10)
            RowLayout {
                id: bannerRow
                anchors.fill: parent
                anchors.margins: 10
                spacing: 6
                Symbol {
                    symbol: "link"
                    color: Theme.orange
                }
                Label {
                    text: "All Monitors Synced"
                    font.pixelSize: Theme.headline
                    font.weight: Font.DemiBold
                }
                Label {
                    Layout.fillWidth: true
                    text: "— Using shared playlist"
                    font.pixelSize: Theme.subheadline
                    color: Theme.secondaryText
                }
            }
        }
        Rectangle {
            Layout.fillWidth: true
            visible: editor.showsScreenStrip
            implicitHeight: screenRow.implicitHeight + 12
            color: Theme.control
            Flickable {
                anchors.fill: parent
                anchors.margins: 6
                contentWidth: screenRow.implicitWidth
                flickableDirection: Flickable.HorizontalFlick
                boundsBehavior: Flickable.StopAtBounds
                clip: true
                Row {
                    id: screenRow
                    spacing: 4
                    Repeater {
                        model: editor.screens
                        delegate: MonitorTabButton {
                            required property var modelData
                            text: modelData.title
                            symbol: modelData.symbol
                            isSelected: modelData.screenId === editor.selectedScreenId
                            onClicked: editor.selectScreen(modelData.screenId)
                        }
                    }
                }
            }
        }

        PlaylistTabBar {
            Layout.fillWidth: true
            playlists: editor.playlists
            selectedId: editor.selectedPlaylistId
            activeId: editor.activePlaylistId
            onSelected: (playlistId) => editor.selectedPlaylistId = playlistId
            onCreateNew: page.openNewSheet(editor.newPlaylistName)
            onRename: (playlistId, name) => {
                renameSheet.playlistId = playlistId
                renameSheet.name = name
                renameSheet.open()
            }
            onDuplicate: (playlistId) => editor.duplicatePlaylist(playlistId)
            onRemove: (playlistId) => editor.deletePlaylist(playlistId)
        }
        Rectangle {
            Layout.fillWidth: true
            implicitHeight: 1
            color: Theme.separator
        }

        // Header: the count and total, and whether the playlist is the screen's.
        RowLayout {
            Layout.fillWidth: true
            Layout.margins: 12
            Layout.bottomMargin: 6
            spacing: 8
            ColumnLayout {
                Layout.fillWidth: true
                spacing: 2
                Label {
                    Layout.fillWidth: true
                    text: editor.countText
                    font.pixelSize: Theme.headline
                    font.weight: Font.DemiBold
                }
                Label {
                    visible: text !== ""
                    text: editor.totalText
                    font.pixelSize: Theme.caption
                    color: Theme.secondaryText
                }
            }
            RowLayout {
                visible: editor.hasSelection && editor.selectedIsActive
                spacing: 4
                Symbol {
                    symbol: "checkmark.circle.fill"
                    color: Theme.green
                }
                Label {
                    text: "Active"
                    color: Theme.green
                }
            }
            Button {
                visible: editor.hasSelection && !editor.selectedIsActive
                text: "Set Active"
                highlighted: true
                icon.name: SymbolTable.iconName("play.circle")
                icon.source: SymbolTable.iconSource("play.circle")
                icon.cache: false
                icon.color: "#ffffff"
                Accessible.name: text
                onClicked: editor.setActive()
            }
        }

        // Toolbar.
        RowLayout {
            Layout.fillWidth: true
            Layout.leftMargin: 12
            Layout.rightMargin: 12
            Layout.bottomMargin: 8
            visible: editor.hasSelection
            spacing: 6
            TextField {
                id: search
                Layout.preferredWidth: 150
                placeholderText: "Search"
                Accessible.name: placeholderText
                text: editor.searchText
                onTextEdited: editor.searchText = text
                Keys.onEscapePressed: editor.searchText = ""
            }
            Repeater {
                model: [
                    { label: "Shuffle", symbol: "shuffle", on: editor.shuffleEnabled },
                    { label: "Loop", symbol: "repeat", on: editor.loopEnabled }
                ]
                delegate: ToolButton {
                    required property var modelData
                    required property int index
                    text: modelData.label
                    checkable: true
                    checked: modelData.on
                    icon.name: SymbolTable.iconName(modelData.symbol)
                    icon.source: SymbolTable.iconSource(modelData.symbol)
                    icon.cache: false
                    icon.width: 14
                    icon.height: 14
                    icon.color: checked ? Theme.accent : Theme.primaryText
                    palette.buttonText: checked ? Theme.accent : Theme.primaryText
                    Accessible.name: text
                    background: Rectangle {
                        radius: 6
                        color: parent.checked ? Qt.rgba(Theme.accent.r, Theme.accent.g,
                                                        Theme.accent.b, 0.2)
                                              : parent.hovered ? Qt.rgba(1, 1, 1, 0.06)
                                                               : "transparent"
                        border.width: parent.visualFocus ? 1 : 0
                        border.color: Theme.accent
                    }
                    onClicked: index === 0 ? editor.toggleShuffle() : editor.toggleLoop()
                }
            }
            Item { Layout.fillWidth: true }
            SymbolButton {
                id: addButton
                implicitWidth: 30
                text: "Add videos from Video Folders"
                symbol: "plus"
                symbolSize: 16
                onClicked: addMenu.popup(addButton, 0, addButton.height)
                Menu {
                    id: addMenu
                    MenuItem {
                        text: "All Folders"
                        onTriggered: editor.addFromAllFolders()
                    }
                    Instantiator {
                        model: editor.folderNames
                        delegate: MenuItem {
                            required property string modelData
                            required property int index
                            text: modelData
                            onTriggered: editor.addFromFolder(index)
                        }
                        onObjectAdded: (index, item) => addMenu.insertItem(index + 1, item)
                        onObjectRemoved: (index, item) => addMenu.removeItem(item)
                    }
                }
            }
            SymbolButton {
                id: optionsButton
                text: "Options"
                symbol: "ellipsis.circle"
                symbolSize: 16
                onClicked: optionsMenu.popup(optionsButton, 0, optionsButton.height)
                Menu {
                    id: optionsMenu
                    Menu {
                        id: sortMenu
                        title: "Sort By"
                        Instantiator {
                            model: editor.sortOrders
                            delegate: SymbolMenuItem {
                                required property var modelData
                                text: modelData.label
                                symbol: modelData.value === editor.sortOrder ? "checkmark"
                                                                             : modelData.symbol
                                onTriggered: editor.setSortOrder(modelData.value)
                            }
                            onObjectAdded: (index, item) => sortMenu.insertItem(index, item)
                            onObjectRemoved: (index, item) => sortMenu.removeItem(item)
                        }
                    }
                    MenuSeparator {}
                    MenuItem {
                        text: "Include All"
                        onTriggered: editor.setAllExcluded(false)
                    }
                    MenuItem {
                        text: "Exclude All"
                        onTriggered: editor.setAllExcluded(true)
                    }
                    MenuSeparator {}
                    SymbolMenuItem {
                        text: "Clear All"
                        destructive: true
                        onTriggered: editor.clearAll()
                    }
                }
            }
            SymbolButton {
                text: "Sync All Videos playlist with source folders"
                symbol: "arrow.clockwise"
                symbolSize: 16
                onClicked: editor.syncAllVideos()
            }
        }

        // Content.
        Item {
            Layout.fillWidth: true
            Layout.fillHeight: true

            ColumnLayout {
                anchors.centerIn: parent
                visible: editor.contentState === "noPlaylist"
                spacing: 8
                Symbol {
                    Layout.alignment: Qt.AlignHCenter
                    symbol: "music.note.list"
                    size: 48
                    color: Theme.secondaryText
                }
                Label {
                    Layout.alignment: Qt.AlignHCenter
                    text: "No Playlist Selected"
                    font.pixelSize: Theme.title2
                }
                Label {
                    Layout.alignment: Qt.AlignHCenter
                    text: "Create or select a playlist to get started"
                    color: Theme.secondaryText
                }
                Button {
                    Layout.alignment: Qt.AlignHCenter
                    text: "Create Playlist"
                    highlighted: true
                    Accessible.name: text
                    onClicked: page.openNewSheet("New Playlist")
                }
            }
            ColumnLayout {
                anchors.centerIn: parent
                visible: editor.contentState === "empty"
                spacing: 8
                Symbol {
                    Layout.alignment: Qt.AlignHCenter
                    symbol: "film.stack"
                    size: 48
                    color: Theme.secondaryText
                }
                Label {
                    Layout.alignment: Qt.AlignHCenter
                    text: "No videos in playlist"
                    font.pixelSize: Theme.headline
                    font.weight: Font.DemiBold
                }
                Label {
                    Layout.alignment: Qt.AlignHCenter
                    text: editor.emptyHint
                    color: Theme.secondaryText
                }
            }
            ColumnLayout {
                anchors.centerIn: parent
                visible: editor.contentState === "noMatches"
                spacing: 8
                Symbol {
                    Layout.alignment: Qt.AlignHCenter
                    symbol: "magnifyingglass"
                    size: 32
                    color: Theme.secondaryText
                }
                Label {
                    Layout.alignment: Qt.AlignHCenter
                    text: editor.noMatchesText
                    color: Theme.secondaryText
                }
            }

            ListView {
                id: list

                // The row being dragged and the place it would go; -1 while none is.
                property int dragFrom: -1
                property int dropTo: -1

                anchors.fill: parent
                visible: editor.contentState === "list"
                clip: true
                model: editor.items
                reuseItems: true
                activeFocusOnTab: true
                keyNavigationEnabled: true
                boundsBehavior: Flickable.StopAtBounds
                ScrollBar.vertical: ScrollBar {}
                Accessible.name: "Videos"

                delegate: PlaylistVideoRowView {
                    id: videoRow
                    width: ListView.view.width
                    canDrag: editor.canReorder
                    onToggleExclusion: editor.toggleItem(index)
                    onDragStarted: {
                        list.dragFrom = index
                        list.dropTo = index
                    }
                    onDragMoved: (y) => {
                        const target = list.indexAt(0, y)
                        list.dropTo = target >= 0 ? target : (y < 0 ? 0 : list.count - 1)
                    }
                    onDragEnded: {
                        if (list.dragFrom >= 0 && list.dropTo >= 0)
                            editor.moveItem(list.dragFrom, list.dropTo)
                        list.dragFrom = -1
                        list.dropTo = -1
                    }
                    Keys.onUpPressed: (event) => {
                        if (event.modifiers & Qt.AltModifier)
                            editor.moveItem(index, index - 1)
                        else
                            event.accepted = false
                    }
                    Keys.onDownPressed: (event) => {
                        if (event.modifiers & Qt.AltModifier)
                            editor.moveItem(index, index + 1)
                        else
                            event.accepted = false
                    }
                    // Rows ask for pictures and data only while the page is shown: the window
                    // builds every page when it opens.
                    showsThumbnail: list.visible
                    readonly property bool wantsMetadata: needsMetadata && list.visible
                    onWantsMetadataChanged: if (wantsMetadata) editor.loadMetadata(index)
                    Component.onCompleted: if (wantsMetadata) editor.loadMetadata(index)
                    ListView.onReused: if (wantsMetadata) editor.loadMetadata(index)
                }

                // Where the dragged row would land.
                Rectangle {
                    visible: list.dragFrom >= 0 && list.dropTo >= 0 && list.dropTo !== list.dragFrom
                    x: 8
                    width: list.width - 16
                    height: 2
                    color: Theme.accent
                    y: list.dropTo < 0 ? 0
                       : (list.dropTo > list.dragFrom ? list.dropTo + 1 : list.dropTo) * 52
                         - list.contentY - 1
                }
            }
        }

        // Footer hint.
        RowLayout {
            Layout.fillWidth: true
            Layout.margins: 10
            visible: editor.hasSelection
            spacing: 5
            Symbol {
                symbol: "info.circle"
                size: Theme.caption
                color: Theme.secondaryText
            }
            Label {
                Layout.fillWidth: true
                text: "Drag to reorder. Uncheck to exclude from playback."
                font.pixelSize: Theme.caption
                color: Theme.secondaryText
                elide: Text.ElideRight
            }
        }
    }
}
