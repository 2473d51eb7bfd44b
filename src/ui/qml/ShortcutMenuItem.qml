import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts
import Orvanta.Ui

// A menu item that shows the keys the program answers anyway (the controller's own key monitor
// takes them in every window), without registering them a second time.
MenuItem {
    id: item

    property string keys

    contentItem: RowLayout {
        spacing: 24
        Label {
            Layout.fillWidth: true
            text: item.text
            color: item.enabled ? Theme.primaryText : Theme.secondaryText
        }
        Label {
            text: item.keys
            color: Theme.secondaryText
        }
    }
}
