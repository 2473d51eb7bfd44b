import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts
import Orvanta.Ui

// One playlist in the tab bar: its name and enabled-video count, a check mark when it is the
// active one, and its menu (right click or the menu key).
AbstractButton {
    id: tab

    property string name
    property int count: 0
    property bool isProtected: false
    property bool isSelected: false
    property bool isActive: false

    signal renameRequested
    signal duplicateRequested
    signal deleteRequested

    readonly property color contentColor: isSelected ? "#ffffff" : Theme.primaryText

    leftPadding: 12
    rightPadding: 12
    topPadding: 7
    bottomPadding: 7
    hoverEnabled: true
    focusPolicy: Qt.StrongFocus
    Accessible.role: Accessible.PageTab
    Accessible.name: name
    ToolTip.visible: hovered && nameLabel.truncated
    ToolTip.text: name
    ToolTip.delay: 600

    function openMenu() {
        menu.popup(tab, 0, tab.height)
    }

    Keys.onMenuPressed: openMenu()
    Keys.onPressed: (event) => {
        if (event.key === Qt.Key_F10 && (event.modifiers & Qt.ShiftModifier)) {
            openMenu()
            event.accepted = true
        }
    }

    background: Rectangle {
        radius: 6
        color: tab.isSelected ? Theme.accent
                              : tab.hovered ? Qt.rgba(0xa0 / 255, 0xa1 / 255, 0xa8 / 255, 0.15)
                                            : "transparent"
        border.width: tab.visualFocus ? 1 : 0
        border.color: tab.isSelected ? "#ffffff" : Theme.accent
    }
    contentItem: RowLayout {
        spacing: 6
        Symbol {
            visible: tab.isActive
            symbol: "checkmark.circle.fill"
            size: Theme.caption
            color: tab.isSelected ? "#ffffff" : Theme.green
        }
        Label {
            id: nameLabel
            Layout.maximumWidth: 180
            text: tab.name
            font.pixelSize: Theme.subheadline
            color: tab.contentColor
            elide: Text.ElideRight
            maximumLineCount: 1
        }
        Label {
            text: tab.count
            font.pixelSize: Theme.caption2
            leftPadding: 5
            rightPadding: 5
            topPadding: 2
            bottomPadding: 2
            color: tab.isSelected ? Qt.rgba(1, 1, 1, 0.8) : Theme.secondaryText
            background: Rectangle {
                radius: height / 2
                color: tab.isSelected ? Qt.rgba(1, 1, 1, 0.2)
                                      : Qt.rgba(0xa0 / 255, 0xa1 / 255, 0xa8 / 255, 0.2)
            }
        }
    }

    TapHandler {
        acceptedButtons: Qt.RightButton
        onTapped: (point) => menu.popup(tab, point.position.x, point.position.y)
    }

    Menu {
        id: menu
        SymbolMenuItem {
            text: "Rename..."
            symbol: "pencil"
            onTriggered: tab.renameRequested()
        }
        SymbolMenuItem {
            text: "Duplicate"
            symbol: "doc.on.doc"
            onTriggered: tab.duplicateRequested()
        }
        MenuSeparator {}
        SymbolMenuItem {
            text: tab.isProtected ? "Delete (Protected)" : "Delete"
            symbol: tab.isProtected ? "lock" : "trash"
            destructive: true
            enabled: !tab.isProtected
            onTriggered: tab.deleteRequested()
        }
    }
}
