import QtQuick
import Quenstal.Artwork

GlassPlate {
    property Item of: parent

    anchors.fill: of
    anchors.margins: -3
    radius: 19
    color: "transparent"
    rim: Theme.focus
    visible: of.activeFocus && Theme.showsFocus
}
