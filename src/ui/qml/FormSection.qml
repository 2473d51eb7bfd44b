import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts
import Orvanta.Ui

// A section of a grouped form: a header, its rows on a rounded panel, and a footer.
ColumnLayout {
    id: section

    property string title
    property string footer
    property alias header: headerRow.data
    default property alias rows: panelRows.data

    spacing: 6

    RowLayout {
        id: headerRow
        Layout.fillWidth: true
        Layout.leftMargin: 4
        visible: section.title !== ""
        Label {
            text: section.title
            font.pixelSize: Theme.headline
            font.weight: Font.DemiBold
        }
        Item { Layout.fillWidth: true }
    }
    Rectangle {
        Layout.fillWidth: true
        implicitHeight: panelRows.implicitHeight + 20
        radius: 8
        color: Theme.control
        ColumnLayout {
            id: panelRows
            anchors.fill: parent
            anchors.margins: 10
            spacing: 10
        }
    }
    Label {
        Layout.fillWidth: true
        Layout.leftMargin: 4
        visible: section.footer !== ""
        text: section.footer
        font.pixelSize: Theme.caption
        color: Theme.secondaryText
        wrapMode: Text.WordWrap
    }
}
