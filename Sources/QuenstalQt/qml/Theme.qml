pragma Singleton
import QtQuick

// Colours, fonts and measures of the panel, in one place.
QtObject {
    readonly property string textFamily: "Inter"
    readonly property string displayFamily: "Inter Display"

    readonly property color primaryText: "#f5f7fb"
    readonly property color secondaryText: "#c5cad6"
    readonly property color tertiaryText: "#aeb5c4"
    readonly property color symbol: "#e6eaf3"

    readonly property color software: "#5b9bff"
    readonly property color hardware: "#43dba0"
    readonly property color system: "#9d8cff"
    readonly property color unavailable: "#ffb347"
    readonly property color disabled: "#8b91a0"
    readonly property color on: "#3fd07f"
    readonly property color muted: "#ff6b5e"
    readonly property color warningText: "#ffd894"

    readonly property color plate: Qt.rgba(1, 1, 1, 0.07)
    readonly property color plateHovered: Qt.rgba(1, 1, 1, 0.105)
    readonly property color platePressed: Qt.rgba(1, 1, 1, 0.15)
    readonly property color rim: Qt.rgba(1, 1, 1, 0.11)
    readonly property color well: Qt.rgba(0, 0, 0, 0.22)
    readonly property color focus: "#a9cbff"

    readonly property int edge: 14

    // Set by the keyboard, cleared by the pointer: the ring is for those who need it.
    property bool showsFocus: false

    function accent(kind) {
        switch (kind) {
        case "software": return software
        case "hardware": return hardware
        case "system": return system
        case "disabled": return disabled
        default: return unavailable
        }
    }

    function decibels(value) {
        const sign = value > 0 ? "+" : value < 0 ? "\u2212" : ""
        return sign + Math.abs(value).toFixed(1)
    }
}
