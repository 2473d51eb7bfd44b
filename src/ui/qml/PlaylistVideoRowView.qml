import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts
import Orvanta.Ui

// One video of the shown playlist: its switch, thumbnail, name and technical data, and the
// handle it is dragged by.
ItemDelegate {
    id: row

    required property int index
    required property string filename
    required property bool excluded
    required property string durationText
    required property string resolutionText
    required property string aspectText
    required property string thumbnail
    required property bool needsMetadata

    property bool canDrag: false
    property bool showsThumbnail: true
    // The handle's drag, in the list's coordinates.
    signal dragStarted
    signal dragMoved(real y)
    signal dragEnded

    signal toggleExclusion

    readonly property var details: [durationText, resolutionText, aspectText].filter(t => t !== "")

    height: 52
    padding: 0
    opacity: excluded ? 0.6 : 1
    focusPolicy: Qt.StrongFocus
    Accessible.name: filename
    ToolTip.visible: hovered && nameLabel.truncated
    ToolTip.text: filename
    ToolTip.delay: 600

    background: Rectangle {
        color: row.hovered ? Qt.rgba(1, 1, 1, 0.04) : "transparent"
        border.width: row.visualFocus ? 1 : 0
        border.color: Theme.accent
    }
    Keys.onSpacePressed: row.toggleExclusion()

    contentItem: RowLayout {
        spacing: 10
        SymbolButton {
            Layout.leftMargin: 6
            symbol: row.excluded ? "circle" : "checkmark.circle.fill"
            symbolColor: row.excluded ? Theme.secondaryText : Theme.accent
            text: row.excluded ? "Include in playlist" : "Exclude from playlist"
            focusPolicy: Qt.NoFocus
            onClicked: row.toggleExclusion()
        }
        Rectangle {
            implicitWidth: 64
            implicitHeight: 36
            radius: 4
            clip: true
            color: Qt.rgba(0xa0 / 255, 0xa1 / 255, 0xa8 / 255, 0.2)
            Image {
                id: picture
                anchors.fill: parent
                source: row.showsThumbnail ? row.thumbnail : ""
                sourceSize: Qt.size(128, 72)
                fillMode: Image.PreserveAspectCrop
                asynchronous: true
                // The thumbnail cache keeps the pictures; the shared picture cache would keep
                // their textures past their window.
                cache: false
                visible: status === Image.Ready
            }
            Symbol {
                anchors.centerIn: parent
                visible: picture.status !== Image.Ready
                symbol: "film"
                size: Theme.caption
                color: row.excluded ? Theme.secondaryText : Theme.accent
            }
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 2
            Label {
                id: nameLabel
                Layout.fillWidth: true
                text: row.filename
                color: row.excluded ? Theme.secondaryText : Theme.primaryText
                elide: Text.ElideMiddle
                maximumLineCount: 1
            }
            Row {
                spacing: 6
                Repeater {
                    model: row.details
                    delegate: Row {
                        required property string modelData
                        required property int index
                        spacing: 6
                        Rectangle {
                            visible: index > 0
                            anchors.verticalCenter: parent.verticalCenter
                            width: 1
                            height: 9
                            color: Theme.secondaryText
                        }
                        Label {
                            text: modelData
                            font.pixelSize: Theme.caption
                            color: Theme.secondaryText
                        }
                    }
                }
            }
        }
        Symbol {
            Layout.rightMargin: 10
            symbol: "line.3.horizontal"
            size: Theme.caption
            color: Theme.secondaryText
            opacity: row.canDrag ? 1 : 0.3
            MouseArea {
                anchors.fill: parent
                anchors.margins: -8
                enabled: row.canDrag
                cursorShape: row.canDrag ? Qt.OpenHandCursor : Qt.ArrowCursor
                preventStealing: true
                onPressed: row.dragStarted()
                onPositionChanged: (mouse) => row.dragMoved(mapToItem(row.ListView.view.contentItem,
                                                                      mouse.x, mouse.y).y)
                onReleased: row.dragEnded()
                onCanceled: row.dragEnded()
            }
        }
    }
}
