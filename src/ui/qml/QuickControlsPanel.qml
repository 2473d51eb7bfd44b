import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts
import Orvanta.Ui

// The quick controls: previous, play/pause, next, what the primary screen plays, and a button
// that hides the strip. Dragging its background moves it.
Window {
    id: panel

    readonly property var manager: SettingsContext.primaryPlayerManager

    title: "Orvanta Quick Controls"
    width: 320
    height: 50
    color: "transparent"

    palette.window: Theme.window
    palette.windowText: Theme.primaryText
    palette.button: Theme.control
    palette.buttonText: Theme.primaryText
    palette.highlight: Theme.accent
    palette.toolTipBase: Theme.control
    palette.toolTipText: Theme.primaryText

    Rectangle {
        anchors.fill: parent
        radius: 12
        color: Theme.material
        border.width: 1
        border.color: Theme.separator

        DragHandler {
            target: null
            onActiveChanged: if (active) panel.startSystemMove()
        }

        RowLayout {
            anchors.fill: parent
            anchors.leftMargin: 16
            anchors.rightMargin: 16
            anchors.topMargin: 10
            anchors.bottomMargin: 10
            spacing: 16

            SymbolButton {
                text: "Previous Video"
                symbol: "backward.fill"
                focusPolicy: Qt.NoFocus
                onClicked: SettingsContext.previousVideo()
            }
            SymbolButton {
                text: SettingsContext.isPlaying ? "Pause" : "Play"
                symbol: SettingsContext.isPlaying ? "pause.fill" : "play.fill"
                symbolSize: Theme.title2
                focusPolicy: Qt.NoFocus
                onClicked: SettingsContext.togglePlayPause()
            }
            SymbolButton {
                text: "Next Video"
                symbol: "forward.fill"
                focusPolicy: Qt.NoFocus
                onClicked: SettingsContext.nextVideo()
            }
            Rectangle {
                implicitWidth: 1
                implicitHeight: 20
                color: Theme.separator
            }
            ColumnLayout {
                Layout.fillWidth: true
                Layout.minimumWidth: 100
                spacing: 2
                Label {
                    Layout.fillWidth: true
                    text: panel.manager ? panel.manager.currentVideoName : "No video"
                    font.pixelSize: Theme.caption
                    font.weight: panel.manager ? Font.Medium : Font.Normal
                    color: panel.manager ? Theme.primaryText : Theme.secondaryText
                    elide: Text.ElideMiddle
                }
                Label {
                    readonly property string position: panel.manager
                        ? ViewRules.quickPositionText(panel.manager.currentIndex,
                                                      panel.manager.totalVideoCount)
                        : ""
                    visible: position !== ""
                    text: position
                    font.pixelSize: Theme.caption2
                    font.family: Theme.monospace
                    color: Theme.secondaryText
                }
            }
            SymbolButton {
                text: "Hide Controls"
                symbol: "xmark.circle.fill"
                symbolColor: Theme.secondaryText
                focusPolicy: Qt.NoFocus
                onClicked: QuickControls.hide()
            }
        }
    }
}
