import QtQuick
import Quenstal.Artwork

Item {
    id: meter

    property string channel
    property alias level: lamps.level
    property alias peak: lamps.peak
    property alias clipping: lamps.clipping

    width: 9

    LevelMeter {
        id: lamps
        anchors.fill: parent
    }
    Label {
        anchors.horizontalCenter: parent.horizontalCenter
        y: parent.height + 10
        text: meter.channel
        font.pixelSize: 9
        font.weight: Font.DemiBold
        color: Theme.tertiaryText
    }
}
