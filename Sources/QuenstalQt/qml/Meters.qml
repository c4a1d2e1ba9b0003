import QtQuick
import Quenstal.Artwork

// The levels of both channels, with their names below.
Item {
    id: meters

    required property PanelModel panel

    width: 23

    LevelMeters {
        anchors.fill: parent
        levelL: meters.panel.levelL
        levelR: meters.panel.levelR
        peakL: meters.panel.peakL
        peakR: meters.panel.peakR
        clipping: meters.panel.clipping
    }
    Repeater {
        model: [qsTr("L"), qsTr("R")]

        Label {
            required property int index
            required property string modelData
            // Under the middle of its meter.
            x: (index === 0 ? 4.5 : 18.5) - width / 2
            y: parent.height + 12
            text: modelData
            font.pixelSize: 9
            font.weight: Font.DemiBold
            color: Theme.tertiaryText
        }
    }
}
