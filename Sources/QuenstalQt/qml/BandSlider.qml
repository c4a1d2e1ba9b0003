import QtQuick
import Quenstal.Artwork

// One band: a vertical slider from −12 to +12 dB on the plot's scale.
GainSlider {
    id: slider

    property string label
    property string hertz
    property bool chosen: false
    readonly property real pointsPerDecibel: height / 30
    readonly property real middle: height / 2

    function gainAt(y) { return rounded((middle - y) / pointsPerDecibel) }

    Accessible.name: hertz.endsWith("k") ? qsTr("%1 kHz").arg(hertz.slice(0, -1)) : qsTr("%1 Hz").arg(hertz)

    GlassGroove {
        x: (parent.width - width) / 2
        y: slider.middle - height / 2
        width: 5
        height: 24 * slider.pointsPerDecibel + 4
        from: height / 2
        to: height / 2 - slider.shownValue * slider.pointsPerDecibel
        color: slider.active ? "#6aa8ff" : "#8b91a0"
    }
    GlassPlate {
        anchors.centerIn: knob
        width: 31
        height: 31
        radius: width / 2
        visible: slider.chosen
        color: slider.active ? Qt.rgba(0.36, 0.62, 1, 0.26) : Qt.rgba(1, 1, 1, 0.16)
        rim: slider.activeFocus && Theme.showsFocus ? Theme.focus : "transparent"
    }
    GlassKnob {
        id: knob
        // Odd, as the groove's width, so that both have their middle in the same place.
        width: 27
        height: 27
        x: (parent.width - width) / 2
        y: slider.middle - slider.shownValue * slider.pointsPerDecibel - height / 2
        dimmed: !slider.active
    }
    MouseArea {
        // Where the knob was taken stays under the pointer.
        property real grip: 0

        anchors.fill: parent
        preventStealing: true
        onPressed: (mouse) => {
            slider.forceActiveFocus(Qt.MouseFocusReason)
            const knobY = slider.middle - slider.shownValue * slider.pointsPerDecibel
            grip = Math.abs(mouse.y - knobY) <= 13 ? mouse.y - knobY : 0
            slider.moved(slider.gainAt(mouse.y - grip))
        }
        onPositionChanged: (mouse) => slider.moved(slider.gainAt(mouse.y - grip))
        onDoubleClicked: slider.moved(0)
        onWheel: (wheel) => slider.turn(wheel.angleDelta.y)
    }
}
