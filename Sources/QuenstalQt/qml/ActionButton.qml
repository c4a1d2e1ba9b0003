import QtQuick
import Quenstal.Artwork

Pressable {
    id: button

    property string text
    property bool prominent: false

    accessibleName: text
    implicitWidth: label.implicitWidth + 28
    implicitHeight: 32

    GlassPlate {
        anchors.fill: parent
        radius: Math.min(11, height / 2)
        color: button.prominent ? (button.pressed ? "#2350b8" : button.hovered ? "#336be0" : "#2b60d4")
                                : button.pressed ? Theme.platePressed : button.hovered ? Qt.rgba(1, 1, 1, 0.14) : Qt.rgba(1, 1, 1, 0.10)
        rim: button.prominent ? Qt.rgba(0.7, 0.82, 1, 0.42) : Qt.rgba(1, 1, 1, 0.13)
    }
    Label {
        id: label
        anchors.centerIn: parent
        width: Math.min(implicitWidth, parent.width - 12)
        text: button.text
        font.weight: Font.DemiBold
    }
    FocusRing {
        radius: 14
    }
}
