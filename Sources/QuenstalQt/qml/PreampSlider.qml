import QtQuick
import Quenstal.Artwork

// The preamp: a horizontal slider.
GainSlider {
    id: slider

    readonly property real travel: width - 20

    function xOf(gain) { return 10 + travel * (gain - minimumValue) / (maximumValue - minimumValue) }
    function gainAt(x) { return rounded((x - 10) / travel * (maximumValue - minimumValue) + minimumValue) }

    maximumValue: 6
    height: 26
    Accessible.name: qsTr("Preamp")
    Keys.onLeftPressed: step(-1)
    Keys.onRightPressed: step(1)

    GlassGroove {
        x: 8
        y: (parent.height - height) / 2
        width: parent.width - 16
        height: 5
        from: slider.xOf(0) - x
        to: slider.xOf(slider.shownValue) - x
        color: slider.active ? "#6aa8ff" : "#8b91a0"
    }
    // Where the preamp changes nothing.
    GlassPlate {
        x: slider.xOf(0) - width / 2
        y: parent.height / 2 + 7
        width: 1
        height: 4
        radius: 0
        color: Qt.rgba(1, 1, 1, 0.35)
        rim: "transparent"
    }
    GlassPlate {
        anchors.centerIn: knob
        width: 31
        height: 31
        radius: width / 2
        visible: slider.activeFocus && Theme.showsFocus
        color: Qt.rgba(0.36, 0.62, 1, 0.24)
        rim: Theme.focus
    }
    GlassKnob {
        id: knob
        width: 27
        height: 27
        x: slider.xOf(slider.shownValue) - width / 2
        y: (parent.height - height) / 2
        dimmed: !slider.active
    }
    MouseArea {
        anchors.fill: parent
        preventStealing: true
        onPressed: (mouse) => {
            slider.forceActiveFocus(Qt.MouseFocusReason)
            slider.moved(slider.gainAt(mouse.x))
        }
        onPositionChanged: (mouse) => slider.moved(slider.gainAt(mouse.x))
        onDoubleClicked: slider.moved(0)
        onWheel: (wheel) => slider.turn(wheel.angleDelta.y)
    }
}
