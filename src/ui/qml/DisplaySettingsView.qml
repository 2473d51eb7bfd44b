import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts
import Orvanta.Ui

// The Display page: active playlist, scaling, transition, speed, sync and audio.
FormPage {
    id: page


    DisplaySettings { id: settings }

    component SliderRow: RowLayout {
        property alias label: title.text
        property alias from: slider.from
        property alias to: slider.to
        property alias stepSize: slider.stepSize
        property alias value: slider.value
        property string valueText
        signal moved(real value)
        Layout.fillWidth: true
        spacing: 10
        Label { id: title }
        Slider {
            id: slider
            Layout.fillWidth: true
            snapMode: Slider.SnapAlways
            Accessible.name: title.text
            onMoved: parent.moved(value)
        }
        Label {
            Layout.preferredWidth: 50
            horizontalAlignment: Text.AlignRight
            text: parent.valueText
            font.family: Theme.monospace
        }
    }

    ColumnLayout {
        width: page.availableWidth - 40
        x: 20
        spacing: 20

        Item { implicitHeight: 0 }

        FormSection {
            Layout.fillWidth: true
            title: "Playlist"
            footer: settings.playlistFooter
            PickerRow {
                label: "Active Playlist"
                model: settings.playlistOptions
                currentIndex: settings.activePlaylistIndex
                onActivated: (index) => settings.activePlaylistIndex = index
            }
        }
        FormSection {
            Layout.fillWidth: true
            title: "Scaling"
            footer: "Fill crops edges to fill screen. Fit shows full video with letterboxing. Stretch ignores aspect ratio."
            PickerRow {
                label: "Video Scaling"
                model: ["Fill Screen", "Fit to Screen", "Stretch"]
                currentIndex: settings.videoScaling
                onActivated: (index) => settings.videoScaling = index
            }
        }
        FormSection {
            Layout.fillWidth: true
            title: "Transitions"
            PickerRow {
                label: "Transition"
                model: ["None", "Fade", "Cross Dissolve"]
                currentIndex: settings.transitionType
                onActivated: (index) => settings.transitionType = index
            }
            SliderRow {
                visible: settings.showsDurationRow
                label: "Duration"
                from: 0.5
                to: 5.0
                stepSize: 0.1
                value: settings.transitionDuration
                valueText: ViewRules.durationText(value)
                onMoved: (value) => settings.transitionDuration = Math.round(value * 10) / 10
            }
        }
        FormSection {
            Layout.fillWidth: true
            title: "Playback"
            footer: "Adjust video playback speed. 1.0x is normal speed."
            SliderRow {
                label: "Playback Speed"
                from: 0.5
                to: 2.0
                stepSize: 0.25
                value: settings.playbackRate
                valueText: ViewRules.rateText(value)
                onMoved: (value) => settings.playbackRate = value
            }
        }
        FormSection {
            Layout.fillWidth: true
            title: "Multi-Monitor"
            footer: "When enabled, all displays show the same video in perfect sync (video wall mode). When disabled, each display plays independently."
            SettingsSwitch {
                Layout.fillWidth: true
                text: "Sync Displays"
                checked: settings.syncEnabled
                onToggled: settings.syncEnabled = checked
            }
        }
        FormSection {
            Layout.fillWidth: true
            title: "Audio"
            footer: "Enable audio playback from video files. Most wallpaper videos are ambient and work well muted."
            SettingsSwitch {
                Layout.fillWidth: true
                text: "Mute Audio"
                checked: settings.audioMuted
                onToggled: settings.audioMuted = checked
            }
            RowLayout {
                Layout.fillWidth: true
                visible: settings.showsVolumeRow
                spacing: 10
                Symbol { symbol: "speaker.fill"; color: Theme.secondaryText }
                Slider {
                    Layout.fillWidth: true
                    from: 0
                    to: 1
                    stepSize: 0.05
                    snapMode: Slider.SnapAlways
                    value: settings.audioVolume
                    Accessible.name: "Volume"
                    onMoved: settings.audioVolume = value
                }
                Symbol { symbol: "speaker.wave.3.fill"; color: Theme.secondaryText }
            }
        }

        Item { implicitHeight: 0 }
    }
}
