import QtQuick
import QtQuick.Controls.Fusion
import Orvanta.Ui

// The Now Playing page: the empty state, one screen large, or a card per screen.
Item {
    id: page

    readonly property var displays: SettingsContext.displays

    EmptyStateView {
        anchors.fill: parent
        visible: page.displays.content === ViewRules.Empty
    }
    Repeater {
        model: page.displays.content === ViewRules.Single ? page.displays : null
        delegate: NowPlayingContent {
            required property var model
            width: page.width
            height: page.height
            manager: model.manager
            screenName: model.screenName
            playlistName: model.playlistName
            showScreenName: false
        }
    }
    Loader {
        anchors.fill: parent
        active: page.displays.content === ViewRules.Multiple
        sourceComponent: MultiDisplayNowPlaying {
            displays: page.displays
        }
    }
}
