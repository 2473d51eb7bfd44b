import QtQuick
import QtQuick.Controls.Fusion
import Orvanta.Ui

// "Playing" with a green dot, or "Paused" with an orange one, on a capsule.
Rectangle {
    id: badge

    property color textColor: Theme.primaryText
    readonly property bool playing: SettingsContext.isPlaying

    implicitWidth: row.implicitWidth + 16
    implicitHeight: row.implicitHeight + 8
    radius: height / 2
    color: Theme.material
    Accessible.role: Accessible.StaticText
    Accessible.name: label.text

    Row {
        id: row
        anchors.centerIn: parent
        spacing: 6
        Rectangle {
            anchors.verticalCenter: parent.verticalCenter
            width: 8
            height: 8
            radius: 4
            color: badge.playing ? Theme.green : Theme.orange
        }
        Label {
            id: label
            text: badge.playing ? "Playing" : "Paused"
            font.pixelSize: Theme.caption
            color: badge.textColor
        }
    }
}
