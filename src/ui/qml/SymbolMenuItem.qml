import QtQuick
import QtQuick.Controls.Fusion
import Orvanta.Ui

// A menu item with a symbol before its text; a destructive one is drawn in the warning colour.
MenuItem {
    property string symbol
    property bool destructive: false

    icon.name: SymbolTable.iconName(symbol)
    icon.source: symbol === "" ? "" : SymbolTable.iconSource(symbol)
    // Not kept in the shared picture cache: it goes with its window.
    icon.cache: false
    icon.width: 14
    icon.height: 14
    icon.color: !enabled ? Theme.secondaryText
                         : destructive ? Theme.destructive : Theme.primaryText
    palette.text: icon.color
    Accessible.name: text
}
