import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts
import Orvanta.Ui

// One sidebar row: the page's accent-tinted symbol and its title.
ItemDelegate {
    id: row

    property string title
    property string symbol

    text: title
    focusPolicy: Qt.StrongFocus
    Accessible.name: title
    Accessible.role: Accessible.PageTab
    Accessible.onPressAction: row.clicked()
    implicitHeight: 30
    leftPadding: 8

    background: Rectangle {
        radius: 6
        color: row.highlighted ? Qt.rgba(1, 1, 1, 0.12)
             : row.hovered ? Qt.rgba(1, 1, 1, 0.06) : "transparent"
        border.width: row.visualFocus ? 1 : 0
        border.color: Theme.accent
    }
    contentItem: RowLayout {
        spacing: 8
        Symbol {
            symbol: row.symbol
            color: Theme.accent
        }
        Label {
            Layout.fillWidth: true
            Accessible.ignored: true
            text: row.title
            elide: Text.ElideRight
            color: Theme.primaryText
        }
    }
}
