import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts
import Orvanta.Ui

ApplicationWindow {
    id: window

    // The page of the selected sidebar row: 0 Now Playing, 1 Video Folders, 2 Display,
    // 3 Playlists, 4 Advanced.
    property int currentPage: 0

    title: "Orvanta"
    // The pages' sizes; the menu bar comes on top of them.
    width: 710
    height: 470 + menuBar.implicitHeight
    minimumWidth: 650
    minimumHeight: 420 + menuBar.implicitHeight
    color: Theme.window

    palette.window: Theme.window
    palette.windowText: Theme.primaryText
    palette.base: Theme.control
    palette.alternateBase: Theme.sidebar
    palette.text: Theme.primaryText
    palette.button: Theme.control
    palette.buttonText: Theme.primaryText
    palette.highlight: Theme.accent
    palette.highlightedText: "#ffffff"
    palette.placeholderText: Theme.secondaryText
    palette.toolTipBase: Theme.control
    palette.toolTipText: Theme.primaryText
    palette.light: "#45464c"
    palette.midlight: "#3a3b40"
    palette.mid: "#2a2b30"
    palette.dark: "#18191b"
    palette.shadow: "#000000"
    font.pixelSize: Theme.body

    Shortcut {
        sequences: [StandardKey.Close]
        onActivated: window.close()
    }

    menuBar: MenuBar {
        Menu {
            title: "Orvanta"
            MenuItem {
                text: "Check for Updates..."
                enabled: SettingsContext.updates !== null
                         && SettingsContext.updates.canCheckForUpdates
                onTriggered: SettingsContext.updates.checkForUpdates()
            }
            MenuSeparator {}
            ShortcutMenuItem {
                text: "Close Window"
                keys: "Ctrl+W"
                onTriggered: window.close()
            }
        }
        Menu {
            title: "Playback"
            ShortcutMenuItem {
                text: SettingsContext.isPlaying ? "Pause" : "Play"
                keys: "Space"
                onTriggered: SettingsContext.togglePlayPause()
            }
            MenuSeparator {}
            ShortcutMenuItem {
                text: "Previous Video"
                keys: "Ctrl+Left"
                onTriggered: SettingsContext.previousVideo()
            }
            ShortcutMenuItem {
                text: "Next Video"
                keys: "Ctrl+Right"
                onTriggered: SettingsContext.nextVideo()
            }
        }
    }

    RowLayout {
        anchors.fill: parent
        spacing: 0

        SidebarView {
            Layout.fillHeight: true
            Layout.preferredWidth: Math.max(200, Math.min(260, window.width * 0.3))
            selection: window.currentPage
            onSelected: (page) => window.currentPage = page
        }
        Rectangle {
            Layout.fillHeight: true
            implicitWidth: 1
            color: Theme.separator
        }
        StackLayout {
            id: pages
            Layout.fillWidth: true
            Layout.fillHeight: true
            currentIndex: window.currentPage

            // A page is made the first time it is shown and then kept while the window lives:
            // the window opens with Now Playing alone, sooner and lighter.
            Repeater {
                model: [nowPlayingPage, foldersPage, displayPage, playlistsPage, advancedPage]
                delegate: Loader {
                    id: page
                    required property int index
                    required property Component modelData
                    function makeWhenShown() {
                        if (pages.currentIndex === index)
                            active = true;
                    }
                    active: false
                    sourceComponent: modelData
                    Component.onCompleted: makeWhenShown()
                    Connections {
                        target: pages
                        function onCurrentIndexChanged() { page.makeWhenShown() }
                    }
                }
            }
        }
    }

    Component { id: nowPlayingPage; NowPlayingView {} }
    Component { id: foldersPage; SourceFoldersView {} }
    Component { id: displayPage; DisplaySettingsView {} }
    Component { id: playlistsPage; ConsolidatedPlaylistView {} }
    Component { id: advancedPage; AdvancedSettingsView {} }
}
