import QtQuick
import Quenstal.Artwork

// Shows what a volume key did while the panel is closed.
Item {
    id: feedback

    property int margin: 0
    property bool translucent: true
    property string symbol
    property string title
    property string text
    // -1 when there is no level.
    property int percent: -1
    property bool muted: false

    GlassSurface {
        anchors.fill: parent
        margin: feedback.margin
        radius: 20
        translucent: feedback.translucent
    }
    Item {
        anchors.fill: parent
        anchors.margins: feedback.margin

        SymbolItem {
            x: 16
            anchors.verticalCenter: parent.verticalCenter
            width: 26
            height: 26
            name: feedback.symbol
            color: Theme.primaryText
        }
        Label {
            x: 54
            y: feedback.percent >= 0 ? 12 : (parent.height - height) / 2
            width: parent.width - x - (title.visible ? 68 : 16)
            text: feedback.text
            wrapMode: feedback.percent >= 0 ? Text.NoWrap : Text.WordWrap
            maximumLineCount: feedback.percent >= 0 ? 1 : 2
            font.weight: Font.DemiBold
        }
        Label {
            id: title
            x: parent.width - width - 16
            y: 12
            width: 50
            visible: feedback.percent >= 0
            horizontalAlignment: Text.AlignRight
            text: feedback.title
            font.weight: Font.DemiBold
            color: Theme.secondaryText
        }
        GlassGroove {
            x: 54
            y: 38
            width: parent.width - x - 16
            height: 8
            visible: feedback.percent >= 0
            // A little is shown as a dot.
            to: feedback.percent > 0 ? Math.max(height, width * feedback.percent / 100) : 0
            color: feedback.muted ? Theme.disabled : "#58a6ff"
        }
    }
}
