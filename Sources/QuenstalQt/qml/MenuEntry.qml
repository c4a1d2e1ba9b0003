import QtQuick
import Quenstal.Artwork

Pressable {
    id: entry

    property string symbol
    property string text

    accessibleName: text
    Accessible.role: Accessible.MenuItem
    width: parent.width
    height: 36

    GlassPlate {
        anchors.fill: parent
        radius: 11
        visible: entry.hovered || entry.pressed
        color: entry.pressed ? Theme.platePressed : Theme.plateHovered
        rim: "transparent"
    }
    SymbolItem {
        x: 10
        anchors.verticalCenter: parent.verticalCenter
        width: 18
        height: 18
        name: entry.symbol
        color: Theme.symbol
    }
    Label {
        x: 40
        width: parent.width - x - 8
        anchors.verticalCenter: parent.verticalCenter
        text: entry.text
        font.pixelSize: 13
    }
    FocusRing {
        anchors.margins: 0
        radius: 11
    }
}
