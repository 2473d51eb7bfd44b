import QtQuick
import QtQuick.Controls.Fusion
import Orvanta.Ui

// The sidebar: its sections in order, each with its rows; the first section has no header.
Rectangle {
    id: sidebar

    property int selection: 0
    signal selected(int page)

    // A section without rows is left out.
    readonly property var sections: [
        { title: "", rows: [{ page: 0, title: "Now Playing", symbol: "play.rectangle.fill" }] },
        { title: "Library", rows: [{ page: 3, title: "Playlists", symbol: "music.note.list" }] },
        { title: "Sources", rows: [{ page: 1, title: "Video Folders", symbol: "folder" }] },
        { title: "Displays", rows: [{ page: 2, title: "Display", symbol: "display" }] },
        { title: "Settings", rows: [{ page: 4, title: "Advanced", symbol: "gearshape.2" }] }
    ]

    color: Theme.sidebar

    Column {
        anchors.fill: parent
        anchors.margins: 10
        anchors.topMargin: 12
        spacing: 2

        Repeater {
            model: sidebar.sections
            delegate: Column {
                required property var modelData
                width: parent.width
                spacing: 2

                visible: modelData.rows.length > 0

                Label {
                    visible: modelData.title !== ""
                    text: modelData.title
                    leftPadding: 8
                    topPadding: 10
                    bottomPadding: 2
                    font.pixelSize: Theme.caption
                    font.weight: Font.DemiBold
                    color: Theme.secondaryText
                }
                Repeater {
                    model: modelData.rows
                    delegate: SidebarRow {
                        required property var modelData
                        width: parent.width
                        title: modelData.title
                        symbol: modelData.symbol
                        highlighted: sidebar.selection === modelData.page
                        onClicked: sidebar.selected(modelData.page)
                    }
                }
            }
        }
    }
}
