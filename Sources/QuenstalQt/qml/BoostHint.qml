import QtQuick
import Quenstal.Artwork

Item {
    id: hint

    signal dismissed()

    height: 32

    GlassPlate {
        anchors.fill: parent
        radius: 11
        color: Qt.rgba(1, 0.74, 0.25, 0.12)
        rim: Qt.rgba(1, 0.74, 0.25, 0.32)
    }
    Label {
        x: 12
        width: dismiss.x - x - 4
        anchors.verticalCenter: parent.verticalCenter
        text: qsTr("Positive gain may clip - Quenstal applied -2 dB preamp.")
        font.pixelSize: 10
        minimumPixelSize: 8
        fontSizeMode: Text.HorizontalFit
        color: Theme.warningText
        Accessible.ignored: false
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }
    Pressable {
        id: dismiss
        x: parent.width - width - 3
        anchors.verticalCenter: parent.verticalCenter
        width: 26
        height: 26
        accessibleName: qsTr("Dismiss")
        onClicked: hint.dismissed()

        SymbolItem {
            anchors.centerIn: parent
            width: 13
            height: 13
            name: "xmark"
            color: dismiss.hovered ? Theme.primaryText : Theme.warningText
        }
        FocusRing {
            anchors.margins: -1
            radius: 13
        }
    }
}
