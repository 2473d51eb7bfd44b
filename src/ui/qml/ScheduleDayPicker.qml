import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts
import Orvanta.Ui

// The weekdays of the daily schedule, Sunday first, each a button that is on while the day is.
RowLayout {
    id: picker

    // Day numbers 0 (Sunday) to 6.
    property var enabledDays: []
    readonly property var days: ["Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"]
    signal dayToggled(int day)

    Layout.fillWidth: true
    spacing: 4
    Label { text: "Days"; Layout.fillWidth: true }
    Repeater {
        model: 7
        delegate: ToggleButton {
            required property int index
            Layout.preferredWidth: 42
            text: picker.days[index]
            checked: picker.enabledDays.indexOf(index) >= 0
            onClicked: picker.dayToggled(index)
        }
    }
}
