import QtQuick
import Orvanta.Ui

// value over total as an accent bar on a faint track, filling the width it is given.
Item {
    property real value: 0
    property real total: 0

    implicitHeight: 4

    Rectangle {
        anchors.fill: parent
        radius: 2
        color: Qt.rgba(0xa0 / 255, 0xa1 / 255, 0xa8 / 255, 0.2)
    }
    Rectangle {
        height: parent.height
        width: parent.width * ViewRules.progress(parent.value, parent.total)
        radius: 2
        color: Theme.accent
    }
}
