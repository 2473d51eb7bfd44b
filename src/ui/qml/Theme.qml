pragma Singleton
import QtQuick

// The settings window's colours and text sizes: dark always, sized in device-independent pixels
// relative to a 13 px body.
QtObject {
    readonly property SystemPalette system: SystemPalette { colorGroup: SystemPalette.Active }

    readonly property color window: "#1e1f22"
    readonly property color sidebar: "#26272b"
    readonly property color control: "#2d2e33"
    readonly property color separator: Qt.rgba(1, 1, 1, 0.10)
    readonly property color primaryText: "#ececee"
    readonly property color secondaryText: "#a0a1a8"
    // The desktop's accent unless it is grey.
    readonly property color accent: system.highlight.hsvSaturation > 0.25 ? system.highlight
                                                                          : "#3d8af7"
    readonly property color green: "#32c45e"
    readonly property color orange: "#f0a030"
    readonly property color destructive: "#ff5c5c"
    // The ultra-thin material: no blur on the software renderer, so a plain veil.
    readonly property color material: Qt.rgba(0x1e / 255, 0x1f / 255, 0x22 / 255, 0.72)

    readonly property real title: 22
    readonly property real title2: 17
    readonly property real title3: 15
    readonly property real headline: 13
    readonly property real body: 13
    readonly property real subheadline: 11.5
    readonly property real caption: 11
    readonly property real caption2: 10
    readonly property string monospace: "monospace"
}
