import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts
import Orvanta.Ui

// A form row with a label and a drop-down picker on the right.
RowLayout {
    id: row

    property alias label: title.text
    property alias model: box.model
    property alias currentIndex: box.currentIndex
    signal activated(int index)

    Layout.fillWidth: true
    Label { id: title; Layout.fillWidth: true }
    ComboBox {
        id: box
        Layout.preferredWidth: 200
        Accessible.name: title.text
        onActivated: (index) => row.activated(index)
    }
}
