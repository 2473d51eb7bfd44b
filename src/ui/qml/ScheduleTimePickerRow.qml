import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts
import Orvanta.Ui

// A time of the daily schedule: hours and minutes, each two digits.
RowLayout {
    id: row

    property alias label: title.text
    property int hour
    property int minute
    signal hourActivated(int hour)
    signal minuteActivated(int minute)

    Layout.fillWidth: true
    Label { id: title; Layout.fillWidth: true }
    ComboBox {
        Layout.preferredWidth: 60
        model: ViewRules.twoDigitNumbers(24)
        currentIndex: row.hour
        Accessible.name: row.label + " hour"
        onActivated: (index) => row.hourActivated(index)
    }
    Label { text: ":" }
    ComboBox {
        Layout.preferredWidth: 60
        model: ViewRules.twoDigitNumbers(60)
        currentIndex: row.minute
        Accessible.name: row.label + " minute"
        onActivated: (index) => row.minuteActivated(index)
    }
}
