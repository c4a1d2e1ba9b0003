import QtQuick
import Quenstal.Artwork

Pressable {
    id: button

    property string symbol
    property real symbolSize: 17

    implicitWidth: 34
    implicitHeight: 34

    GlassPlate {
        anchors.fill: parent
        radius: width / 2
        color: button.pressed ? Theme.platePressed : button.hovered ? Theme.plateHovered : Theme.plate
        rim: Theme.rim
    }
    SymbolItem {
        anchors.centerIn: parent
        width: button.symbolSize
        height: button.symbolSize
        name: button.symbol
        color: Theme.symbol
    }
    FocusRing {
        radius: width / 2
    }
}
