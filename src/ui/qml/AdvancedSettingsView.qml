import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts
import Orvanta.Ui

// The Advanced page: power, the daily schedule, global hotkeys, start-up, the thumbnail cache
// and the support report.
FormPage {
    id: page

    AdvancedSettings { id: settings }

    // The desktop may have started or stopped offering global shortcuts while the page was away.
    onVisibleChanged: if (visible) settings.refreshPermission()
    Component.onCompleted: if (visible) settings.refreshPermission()
    Connections {
        target: page.Window.window
        function onActiveChanged() {
            if (page.visible && page.Window.window.active)
                settings.refreshPermission()
        }
    }

    ColumnLayout {
        width: page.availableWidth - 40
        x: 20
        spacing: 20

        Item { implicitHeight: 0 }

        FormSection {
            Layout.fillWidth: true
            title: "Power Management"
            footer: "Pause on battery saves power. Prevent display sleep keeps the screen on. Pause audio silences video when screen is locked."
            SettingsSwitch {
                Layout.fillWidth: true
                text: "Pause on Battery Power"
                checked: settings.pauseOnBattery
                onToggled: settings.pauseOnBattery = checked
            }
            SettingsSwitch {
                Layout.fillWidth: true
                text: "Pause When Covered"
                enabled: settings.coverageUnavailableText === ""
                checked: settings.pauseWhenCovered
                onToggled: settings.pauseWhenCovered = checked
                ToolTip.visible: hovered
                ToolTip.delay: 600
                ToolTip.text: "Pauses a screen while a maximized or fullscreen window covers it."
            }
            Label {
                Layout.fillWidth: true
                visible: settings.coverageUnavailableText !== ""
                text: settings.coverageUnavailableText
                wrapMode: Text.Wrap
                font.pixelSize: Theme.caption
                color: Theme.secondaryText
            }
            SettingsSwitch {
                Layout.fillWidth: true
                text: "Prevent Display Sleep"
                checked: settings.preventDisplaySleep
                onToggled: settings.preventDisplaySleep = checked
            }
            SettingsSwitch {
                Layout.fillWidth: true
                text: "Pause Audio on Screen Lock"
                checked: settings.pauseOnScreenLock
                onToggled: settings.pauseOnScreenLock = checked
            }
        }
        FormSection {
            Layout.fillWidth: true
            title: "Schedule"
            footer: settings.scheduleFooter
            SettingsSwitch {
                Layout.fillWidth: true
                text: "Enable Schedule"
                checked: settings.scheduleEnabled
                onToggled: settings.scheduleEnabled = checked
            }
            ScheduleTimePickerRow {
                visible: settings.scheduleEnabled
                label: "Start Time"
                hour: settings.startHour
                minute: settings.startMinute
                onHourActivated: (hour) => settings.startHour = hour
                onMinuteActivated: (minute) => settings.startMinute = minute
            }
            ScheduleTimePickerRow {
                visible: settings.scheduleEnabled
                label: "End Time"
                hour: settings.endHour
                minute: settings.endMinute
                onHourActivated: (hour) => settings.endHour = hour
                onMinuteActivated: (minute) => settings.endMinute = minute
            }
            ScheduleDayPicker {
                visible: settings.scheduleEnabled
                enabledDays: settings.enabledDays
                onDayToggled: (day) => settings.toggleDay(day)
            }
        }
        FormSection {
            Layout.fillWidth: true
            title: "Global Hotkeys"
            footer: settings.hotkeysFooter
            RowLayout {
                Layout.fillWidth: true
                Label { text: "Accessibility Permission"; Layout.fillWidth: true }
                Symbol {
                    visible: settings.hasAccessibilityPermission
                    symbol: "checkmark.circle.fill"
                    color: Theme.green
                }
                Label {
                    visible: settings.hasAccessibilityPermission
                    text: "Granted"
                }
                Button {
                    visible: !settings.hasAccessibilityPermission
                    text: "Grant Access"
                    onClicked: settings.requestAccessibilityPermission()
                }
            }
            SettingsSwitch {
                Layout.fillWidth: true
                text: "Enable Global Hotkeys"
                enabled: settings.hasAccessibilityPermission
                palette.windowText: enabled ? Theme.primaryText : Theme.secondaryText
                checked: settings.hotkeysEnabled
                onToggled: settings.hotkeysEnabled = checked
            }
            Repeater {
                // Built again each time the rows show, from what is stored then.
                model: settings.showsHotkeyRows ? 4 : 0
                delegate: HotkeyRow {
                    required property int index
                    action: index
                }
            }
            Button {
                visible: settings.showsHotkeyRows
                text: "Reset to Defaults"
                onClicked: settings.resetHotkeysToDefaults()
            }
        }
        FormSection {
            Layout.fillWidth: true
            title: "Startup"
            footer: "Launch at login starts the app automatically. Menu bar only hides the Dock icon."
            SettingsSwitch {
                Layout.fillWidth: true
                text: "Launch at Login"
                checked: settings.launchAtLogin
                onToggled: settings.launchAtLogin = checked
            }
            SettingsSwitch {
                Layout.fillWidth: true
                text: "Start Playback on Launch"
                checked: settings.autoPlayOnLaunch
                onToggled: settings.autoPlayOnLaunch = checked
            }
            PickerRow {
                label: "Show Application In"
                model: ["Menu Bar & Dock", "Menu Bar Only"]
                currentIndex: settings.applicationVisibility
                onActivated: (index) => settings.applicationVisibility = index
            }
        }
        FormSection {
            Layout.fillWidth: true
            title: "Storage"
            footer: "Thumbnails are cached in memory for faster browsing. Clearing cache frees memory but thumbnails will regenerate when needed."
            RowLayout {
                Layout.fillWidth: true
                ColumnLayout {
                    Layout.fillWidth: true
                    spacing: 2
                    Label { text: "Thumbnail Cache"; Layout.fillWidth: true }
                    Label {
                        Layout.fillWidth: true
                        text: settings.storageText
                        color: Theme.secondaryText
                    }
                }
                Button {
                    text: "Clear"
                    // "0 items" beside it says why it is disabled.
                    enabled: settings.canClearCache
                    palette.buttonText: enabled ? Theme.primaryText : Theme.secondaryText
                    onClicked: settings.clearCache()
                }
            }
        }
        FormSection {
            Layout.fillWidth: true
            title: "Support"
            footer: "Copy diagnostic information to send with support requests."
            RowLayout {
                Layout.fillWidth: true
                Label { text: "Export Support Info"; Layout.fillWidth: true }
                Button {
                    text: "Copy to Clipboard"
                    onClicked: settings.copySupportInfo()
                }
                // Its place is kept while it is hidden, so that the button never moves.
                Item {
                    implicitWidth: 16
                    implicitHeight: 16
                    Symbol {
                        visible: settings.showCopiedFeedback
                        symbol: "checkmark.circle.fill"
                        color: Theme.green
                    }
                }
            }
        }

        Item { implicitHeight: 0 }
    }
}
