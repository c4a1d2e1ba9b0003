import QtQuick
import Quenstal.Artwork

Pressable {
    id: toggle

    property bool on: false
    property bool motion: true

    Accessible.role: Accessible.CheckBox
    Accessible.checkable: true
    Accessible.checked: on
    Accessible.onToggleAction: clicked()
    implicitWidth: 42
    implicitHeight: 25

    GlassPlate {
        anchors.fill: parent
        radius: height / 2
        sunken: true
        color: toggle.on ? Theme.on : Qt.rgba(1, 1, 1, 0.17)
        rim: Qt.rgba(1, 1, 1, toggle.on ? 0.30 : 0.16)
    }
    GlassKnob {
        width: 29
        height: 29
        y: -2
        x: toggle.on ? parent.width - width + 2 : -2

        Behavior on x {
            enabled: toggle.motion
            NumberAnimation { duration: 140; easing.type: Easing.OutCubic }
        }
    }
    FocusRing {
        radius: 16
    }
}
