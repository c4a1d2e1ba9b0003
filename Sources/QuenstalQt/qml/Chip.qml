import QtQuick
import Quenstal.Artwork

// A tile of the dial screen's lower row.
Pressable {
    id: chip

    property string symbol
    property string title
    property string subtitle
    property bool on: false
    property color tint: Theme.software

    accessibleName: title
    Accessible.description: subtitle
    Accessible.checkable: true
    Accessible.checked: on
    implicitWidth: 100
    implicitHeight: 62

    GlassPlate {
        anchors.fill: parent
        radius: 17
        color: chip.on ? Qt.rgba(chip.tint.r, chip.tint.g, chip.tint.b, chip.pressed ? 0.36 : chip.hovered ? 0.31 : 0.26)
                       : chip.pressed ? Theme.platePressed : chip.hovered ? Theme.plateHovered : Theme.plate
        rim: chip.on ? Qt.rgba(chip.tint.r, chip.tint.g, chip.tint.b, 0.55) : Theme.rim
    }
    GlassPlate {
        x: 10
        anchors.verticalCenter: parent.verticalCenter
        width: 30
        height: 30
        radius: 15
        color: chip.on ? chip.tint : Qt.rgba(1, 1, 1, 0.12)
        rim: Qt.rgba(1, 1, 1, chip.on ? 0.28 : 0.06)

        SymbolItem {
            anchors.centerIn: parent
            width: 18
            height: 18
            name: chip.symbol
            color: chip.on ? "white" : Theme.symbol
        }
    }
    Column {
        x: 46
        width: parent.width - x - 4
        anchors.verticalCenter: parent.verticalCenter
        spacing: 1

        Label {
            width: parent.width
            text: chip.title
            font.weight: Font.DemiBold
        }
        Label {
            width: parent.width
            text: chip.subtitle
            font.pixelSize: 11
            font.weight: Font.Normal
            color: Theme.secondaryText
        }
    }
    FocusRing {
        radius: 20
    }
}
