import QtQuick
import QtQuick.Controls.Fusion
import Orvanta.Ui

// A bordered button that shows an on state in the accent colour. Its state follows a binding
// rather than the press: a press asks the owner to flip it.
Button {
    id: button

    palette.button: checked ? Theme.accent : Theme.control
    palette.buttonText: checked ? "#ffffff" : Theme.primaryText
    Accessible.name: text
    Accessible.checkable: true
    Accessible.checked: checked
}
