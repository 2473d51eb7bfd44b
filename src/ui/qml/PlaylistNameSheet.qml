import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts
import Orvanta.Ui

// The sheet that names a playlist, new or renamed: Enter confirms, Escape cancels.
Dialog {
    id: sheet

    property alias name: field.text
    property string confirmText
    // The editor whose naming rule the sheet follows.
    property PlaylistEditor editor

    signal confirmed(string name)

    modal: true
    width: 320
    padding: 20
    // Centred on the page that holds it.
    x: Math.round((parent.width - width) / 2)
    y: Math.round((parent.height - height) / 3)
    closePolicy: Popup.CloseOnEscape
    // The title is drawn in the sheet's own layout.
    header: null
    focus: true
    background: Rectangle {
        color: Theme.window
        radius: 10
        border.color: Theme.separator
    }
    onOpened: {
        field.forceActiveFocus()
        field.selectAll()
    }

    function confirm() {
        if (!sheet.editor.isUsableName(field.text))
            return
        sheet.confirmed(field.text)
        sheet.close()
    }

    contentItem: ColumnLayout {
        spacing: 14
        Label {
            Layout.alignment: Qt.AlignHCenter
            text: sheet.title
            font.pixelSize: Theme.headline
            font.weight: Font.DemiBold
        }
        TextField {
            id: field
            Layout.alignment: Qt.AlignHCenter
            Layout.preferredWidth: 250
            placeholderText: "Playlist Name"
            Accessible.name: placeholderText
            onAccepted: sheet.confirm()
        }
        RowLayout {
            Layout.alignment: Qt.AlignHCenter
            spacing: 10
            Button {
                text: "Cancel"
                Accessible.name: text
                onClicked: sheet.close()
            }
            Button {
                text: sheet.confirmText
                highlighted: true
                enabled: sheet.editor.isUsableName(field.text)
                Accessible.name: text
                ToolTip.visible: hovered && !enabled
                ToolTip.text: "Type a name first"
                onClicked: sheet.confirm()
            }
        }
    }
}
