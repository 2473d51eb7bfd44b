import QtQuick
import QtQuick.Controls.Fusion
import Orvanta.Ui

// A settings row's switch as Linux settings windows draw it: the label on the left, the switch
// on the right, filled with the accent colour when on; reached with Tab, toggled with Space.
Switch {
    id: control

    focusPolicy: Qt.StrongFocus
    Accessible.name: text
    leftPadding: 0
    rightPadding: 0
    topPadding: 4
    bottomPadding: 4
    spacing: 12

    indicator: Rectangle {
        implicitWidth: 40
        implicitHeight: 22
        x: control.width - width - control.rightPadding
        y: control.topPadding + (control.availableHeight - height) / 2
        radius: height / 2
        color: control.checked ? Theme.accent : Qt.rgba(1, 1, 1, 0.16)
        opacity: control.enabled ? 1 : 0.45
        border.width: control.visualFocus ? 2 : 0
        border.color: Qt.lighter(Theme.accent, 1.4)

        Rectangle {
            width: 18
            height: 18
            radius: 9
            y: 2
            x: control.checked ? parent.width - width - 2 : 2
            color: "#ffffff"
            Behavior on x { NumberAnimation { duration: 120; easing.type: Easing.OutCubic } }
        }
    }
    contentItem: Label {
        rightPadding: control.indicator.width + control.spacing
        text: control.text
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
        color: control.enabled ? Theme.primaryText : Theme.secondaryText
    }
}
