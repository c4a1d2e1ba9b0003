import QtQuick
import Quenstal.Artwork

// Five sliders over the response curve that they make, and beside them the meters.
Item {
    id: plot

    required property PanelModel panel
    readonly property int columnWidth: 45
    readonly property int columns: panel.bandIDs.length
    readonly property int plotX: 38
    readonly property int plotY: 28
    readonly property int plotHeight: 190
    property int hoveredBand: -1

    function focusNeighbour(index, step) {
        const neighbour = bands.itemAt(index + step)
        if (neighbour)
            neighbour.focusSlider()
    }

    GlassPlate {
        anchors.fill: parent
        radius: 18
        sunken: true
        color: Theme.well
        rim: Qt.rgba(1, 1, 1, 0.08)
    }
    Repeater {
        model: [12, 6, 0, -6, -12]

        Label {
            required property int modelData
            x: 8
            width: 24
            y: plot.plotY + plot.plotHeight * (1 - modelData / 15) / 2 - height / 2
            horizontalAlignment: Text.AlignRight
            text: (modelData > 0 ? "+" : modelData < 0 ? "\u2212" : "") + Math.abs(modelData)
            font.pixelSize: 9
            color: Theme.tertiaryText
        }
    }
    ResponseCurve {
        x: plot.plotX
        y: plot.plotY
        width: plot.columnWidth * plot.columns
        height: plot.plotHeight
        range: 15
        response: plot.panel.response
        active: plot.panel.eqEnabled
    }
    Row {
        x: plot.plotX
        y: plot.plotY

        Repeater {
            id: bands
            model: plot.columns

            Item {
                id: column

                required property int index
                readonly property int bandID: plot.panel.bandIDs[index] ?? -1
                readonly property real gain: plot.panel.bandGains[index] ?? 0
                readonly property bool chosen: bandID === plot.panel.focusedBandID

                function focusSlider() { slider.forceActiveFocus(Qt.TabFocusReason) }

                width: plot.columnWidth
                height: plot.plotHeight

                BandSlider {
                    id: slider
                    anchors.fill: parent
                    shownValue: column.gain
                    label: plot.panel.bandLabels[column.index] ?? ""
                    hertz: plot.panel.bandHertz[column.index] ?? ""
                    chosen: column.chosen
                    active: plot.panel.eqEnabled
                    onMoved: (gain) => { if (gain !== shownValue) plot.panel.setBand(column.bandID, gain) }
                    onActiveFocusChanged: if (activeFocus) plot.panel.focusBand(column.bandID)
                    Keys.onLeftPressed: plot.focusNeighbour(column.index, -1)
                    Keys.onRightPressed: plot.focusNeighbour(column.index, 1)
                }
                Label {
                    anchors.horizontalCenter: parent.horizontalCenter
                    y: -18
                    text: Theme.decibels(column.gain)
                    font.pixelSize: 10
                    font.weight: Font.DemiBold
                    color: column.chosen ? "#a9cbff" : Theme.secondaryText
                }
                Label {
                    anchors.horizontalCenter: parent.horizontalCenter
                    y: plot.plotHeight + 4
                    text: slider.hertz
                    font.pixelSize: 11
                    font.weight: Font.DemiBold
                }
                Label {
                    anchors.horizontalCenter: parent.horizontalCenter
                    y: plot.plotHeight + 20
                    text: slider.label.toUpperCase()
                    font.pixelSize: 8
                    font.weight: Font.DemiBold
                    font.letterSpacing: 0.5
                    color: Theme.tertiaryText
                }
            }
        }
    }
    Meters {
        x: 276
        y: plot.plotY + 12
        height: plot.plotHeight - 18
        panel: plot.panel
    }
}
