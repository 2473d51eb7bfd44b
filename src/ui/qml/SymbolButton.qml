import QtQuick
import QtQuick.Controls.Fusion
import Orvanta.Ui

// A plain button showing only a symbol; its text is the tooltip and the accessible name.
ToolButton {
    property string symbol
    property real symbolSize: Theme.title3
    property color symbolColor: Theme.primaryText

    focusPolicy: Qt.StrongFocus
    display: AbstractButton.IconOnly
    icon.name: SymbolTable.iconName(symbol)
    icon.source: SymbolTable.iconSource(symbol)
    // Not kept in the shared picture cache: it goes with its window.
    icon.cache: false
    icon.color: symbolColor
    icon.width: symbolSize
    icon.height: symbolSize
    Accessible.name: text
    ToolTip.visible: hovered
    ToolTip.text: text
    ToolTip.delay: 600
}
