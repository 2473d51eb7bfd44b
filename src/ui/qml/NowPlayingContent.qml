import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts
import Orvanta.Ui

// One screen, large: its live preview and, while paused or under the pointer, the overlay with
// what plays, where in the queue, the time and the playback buttons.
Item {
    id: content

    property var manager
    property string screenName
    property string playlistName
    property bool showScreenName: false
    readonly property bool isHovering: hover.hovered

    // The preview fitted at 16:9 inside 20 px of padding.
    readonly property real fitWidth: Math.min(width - 40, (height - 40) * 16 / 9)

    HoverHandler { id: hover }

    Item {
        id: frame
        anchors.centerIn: parent
        width: content.fitWidth
        height: width * 9 / 16

        Rectangle {
            anchors.fill: parent
            color: "black"
        }
        VideoPreviewView {
            anchors.fill: parent
            manager: content.manager
        }
        Item {
            id: overlay
            anchors.fill: parent
            opacity: content.isHovering || !SettingsContext.isPlaying ? 1 : 0
            visible: opacity > 0
            Behavior on opacity {
                NumberAnimation { duration: 200; easing.type: Easing.InOutQuad }
            }

            Rectangle {
                anchors.fill: parent
                gradient: Gradient {
                    GradientStop { position: 0; color: Qt.rgba(0, 0, 0, 0) }
                    GradientStop { position: 1; color: Qt.rgba(0, 0, 0, 0.6) }
                }
            }
            ColumnLayout {
                anchors.fill: parent
                spacing: 0

                RowLayout {
                    Layout.fillWidth: true
                    Layout.leftMargin: 28
                    Layout.rightMargin: 28
                    Layout.topMargin: 28
                    spacing: 12

                    ColumnLayout {
                        Layout.fillWidth: true
                        spacing: 2
                        Label {
                            visible: content.showScreenName
                            text: content.screenName
                            font.pixelSize: Theme.caption
                            color: Qt.rgba(1, 1, 1, 0.7)
                        }
                        Label {
                            Layout.fillWidth: true
                            text: content.manager ? content.manager.currentVideoName : ""
                            font.pixelSize: Theme.headline
                            font.weight: Font.DemiBold
                            color: "white"
                            style: Text.Raised
                            styleColor: Qt.rgba(0, 0, 0, 0.5)
                            elide: Text.ElideMiddle
                        }
                        Label {
                            text: content.manager
                                  ? ViewRules.positionText(content.manager.currentIndex,
                                                           content.manager.totalVideoCount,
                                                           content.playlistName, false)
                                  : ""
                            visible: text !== ""
                            font.pixelSize: Theme.caption
                            color: Qt.rgba(1, 1, 1, 0.8)
                        }
                    }
                    StatusBadge {
                        Layout.alignment: Qt.AlignTop
                        textColor: "white"
                    }
                }
                Item { Layout.fillHeight: true }
                ColumnLayout {
                    Layout.fillWidth: true
                    Layout.margins: 20
                    spacing: 12

                    RowLayout {
                        Layout.fillWidth: true
                        spacing: 8
                        Label {
                            text: ViewRules.formatTime(content.manager ? content.manager.currentTime : 0)
                            font.pixelSize: Theme.caption2
                            font.family: Theme.monospace
                            color: Qt.rgba(1, 1, 1, 0.8)
                        }
                        ProgressBar {
                            Layout.fillWidth: true
                            value: content.manager ? content.manager.currentTime : 0
                            total: content.manager ? content.manager.duration : 0
                        }
                        Label {
                            text: ViewRules.formatTime(content.manager ? content.manager.duration : 0)
                            font.pixelSize: Theme.caption2
                            font.family: Theme.monospace
                            color: Qt.rgba(1, 1, 1, 0.8)
                        }
                    }
                    Row {
                        Layout.alignment: Qt.AlignHCenter
                        spacing: 24
                        CircleButton {
                            anchors.verticalCenter: parent.verticalCenter
                            text: "Previous"
                            symbol: "backward.fill"
                            onClicked: SettingsContext.previousVideo()
                        }
                        CircleButton {
                            anchors.verticalCenter: parent.verticalCenter
                            text: SettingsContext.isPlaying ? "Pause" : "Play"
                            symbol: SettingsContext.isPlaying ? "pause.fill" : "play.fill"
                            diameter: 60
                            symbolSize: 26
                            onClicked: SettingsContext.togglePlayPause()
                        }
                        CircleButton {
                            anchors.verticalCenter: parent.verticalCenter
                            text: "Next"
                            symbol: "forward.fill"
                            onClicked: SettingsContext.nextVideo()
                        }
                    }
                }
            }
        }
        // Rounds the corners: the window's colour over what lies outside a radius of 12.
        Rectangle {
            anchors.fill: parent
            anchors.margins: -6
            radius: 18
            color: "transparent"
            border.width: 6
            border.color: Theme.window
        }
    }
}
