import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts
import Orvanta.Ui

// One screen, compact: preview, what plays, where in the queue, and a play/pause of its own.
Rectangle {
    id: card

    property string screenName
    property var manager
    property string playlistName
    readonly property bool playing: manager ? manager.isPlaying : false
    signal togglePlayback()

    implicitHeight: layout.implicitHeight + 24
    radius: 10
    color: Theme.control

    RowLayout {
        id: layout
        anchors.fill: parent
        anchors.margins: 12
        spacing: 12

        Item {
            implicitWidth: 160
            implicitHeight: 90
            Rectangle {
                anchors.fill: parent
                color: "black"
            }
            VideoPreviewView {
                anchors.fill: parent
                manager: card.manager
            }
            // Rounds the corners to a radius of 8 in the card's colour.
            Rectangle {
                anchors.fill: parent
                anchors.margins: -4
                radius: 12
                color: "transparent"
                border.width: 4
                border.color: card.color
            }
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 3
            Label {
                Layout.fillWidth: true
                text: card.screenName
                font.pixelSize: Theme.caption
                color: Theme.secondaryText
                elide: Text.ElideRight
            }
            Label {
                Layout.fillWidth: true
                text: card.manager ? card.manager.currentVideoName : ""
                font.pixelSize: Theme.headline
                font.weight: Font.DemiBold
                elide: Text.ElideMiddle
                ToolTip.visible: truncated && hover.hovered
                ToolTip.text: text
                HoverHandler { id: hover }
            }
            Label {
                text: card.manager ? ViewRules.positionText(card.manager.currentIndex,
                                                            card.manager.totalVideoCount,
                                                            card.playlistName, true)
                                   : ""
                visible: text !== ""
                font.pixelSize: Theme.caption
                color: Theme.secondaryText
            }
            ProgressBar {
                Layout.fillWidth: true
                Layout.topMargin: 4
                value: card.manager ? card.manager.currentTime : 0
                total: card.manager ? card.manager.duration : 0
            }
        }
        SymbolButton {
            text: (card.playing ? "Pause " : "Play ") + card.screenName
            symbol: card.playing ? "pause.fill" : "play.fill"
            symbolSize: Theme.title2
            onClicked: card.togglePlayback()
        }
    }
}
