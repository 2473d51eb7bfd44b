import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts
import Orvanta.Ui

// One screen's button in the playlist editor's screen strip.
AbstractButton {
    id: button

    property string symbol
    property bool isSelected: false

    readonly property color contentColor: isSelected ? "#ffffff" : Theme.primaryText

    leftPadding: 12
    rightPadding: 12
    topPadding: 6
    bottomPadding: 6
    hoverEnabled: true
    focusPolicy: Qt.StrongFocus
    Accessible.role: Accessible.PageTab
    Accessible.name: text

    background: Rectangle {
        radius: 6
        color: button.isSelected ? Theme.accent
                                 : button.hovered ? Qt.rgba(1, 1, 1, 0.06) : "transparent"
        border.width: button.visualFocus ? 1 : 0
        border.color: Theme.accent
    }
    contentItem: RowLayout {
        spacing: 5
        Symbol {
            symbol: button.symbol
            size: Theme.caption
            color: button.contentColor
        }
        Label {
            text: button.text
            color: button.contentColor
        }
    }
}
