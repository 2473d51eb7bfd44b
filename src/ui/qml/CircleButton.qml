import QtQuick
import QtQuick.Controls.Fusion
import Orvanta.Ui

// A round symbol button on the material, for the large preview's overlay.
AbstractButton {
    id: button

    property string symbol
    property real symbolSize: 20
    property real diameter: 48

    implicitWidth: diameter
    implicitHeight: diameter
    focusPolicy: Qt.StrongFocus
    Accessible.name: text
    ToolTip.visible: hovered && text !== ""
    ToolTip.text: text
    ToolTip.delay: 600

    background: Rectangle {
        radius: width / 2
        color: button.pressed ? Qt.rgba(1, 1, 1, 0.25)
             : button.hovered ? Qt.rgba(1, 1, 1, 0.15) : Theme.material
        border.width: button.visualFocus ? 2 : 0
        border.color: Theme.accent
    }
    contentItem: Item {
        Symbol {
            anchors.centerIn: parent
            symbol: button.symbol
            size: button.symbolSize
            color: "white"
        }
    }
}
