import QtQuick
import QtQuick.Controls.impl
import Orvanta.Ui

// A symbol the pages name, drawn with the desktop's icon of the same meaning or the program's
// own, tinted like text.
IconImage {
    property string symbol
    property real size: 16

    name: SymbolTable.iconName(symbol)
    source: SymbolTable.iconSource(symbol)
    sourceSize: Qt.size(size, size)
    // Not kept in the shared picture cache, which outlives the windows: it goes with its window.
    cache: false
    width: size
    height: size
    color: Theme.primaryText
}
