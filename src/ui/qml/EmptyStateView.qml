import QtQuick
import QtQuick.Controls.Fusion
import Orvanta.Ui

Item {
    Column {
        anchors.centerIn: parent
        width: Math.min(parent.width - 40, 320)
        spacing: 8

        Symbol {
            anchors.horizontalCenter: parent.horizontalCenter
            symbol: "film.stack"
            size: 48
            color: Theme.secondaryText
        }
        Label {
            anchors.horizontalCenter: parent.horizontalCenter
            text: "No Videos"
            font.pixelSize: Theme.title2
            font.weight: Font.DemiBold
        }
        Label {
            width: parent.width
            text: "Add video folders in Video Folders to get started."
            font.pixelSize: Theme.subheadline
            color: Theme.secondaryText
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.WordWrap
        }
    }
}
