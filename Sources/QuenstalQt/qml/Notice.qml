import QtQuick
import Quenstal.Artwork

// What the user should know about the current output. Pressing it opens the setup guide.
Pressable {
    id: notice

    property string text
    // "banner", "quiet" or "warning"
    property string kind: "quiet"

    accessibleName: text
    implicitHeight: Math.max(28, label.implicitHeight + 13)

    GlassPlate {
        anchors.fill: parent
        radius: 10
        visible: notice.kind !== "quiet" || notice.hovered
        color: notice.kind === "quiet" ? Theme.plate : Qt.rgba(1, 0.74, 0.25, notice.hovered ? 0.17 : 0.12)
        rim: notice.kind === "quiet" ? Theme.rim : Qt.rgba(1, 0.74, 0.25, 0.32)
    }
    SymbolItem {
        x: 10
        y: (parent.height - height) / 2
        width: 14
        height: 14
        name: notice.kind === "warning" ? "exclamationmark.triangle" : "info.circle"
        color: label.color
    }
    Label {
        id: label
        x: 31
        width: parent.width - x - 10
        anchors.verticalCenter: parent.verticalCenter
        text: notice.text
        wrapMode: Text.WordWrap
        maximumLineCount: 2
        font.pixelSize: 11
        color: notice.kind === "quiet" ? Theme.secondaryText : Theme.warningText
    }
    FocusRing {
        radius: 12
    }
}
