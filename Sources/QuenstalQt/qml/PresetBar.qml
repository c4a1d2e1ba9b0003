import QtQuick
import Quenstal.Artwork

// The presets as one row of segments, the chosen one raised.
Item {
    id: bar

    required property PanelModel panel
    readonly property int cellWidth: Math.floor((width - 4) / panel.presetNames.length)

    height: 32
    Accessible.role: Accessible.Grouping
    Accessible.name: qsTr("Presets")

    GlassPlate {
        anchors.fill: parent
        radius: 13
        sunken: true
        color: Theme.well
        rim: Qt.rgba(1, 1, 1, 0.09)
    }
    GlassPlate {
        x: 2 + bar.panel.presetIndex * bar.cellWidth
        y: 2
        width: bar.cellWidth
        height: 28
        radius: 11
        color: "#e9eef9"
        rim: "white"

        Behavior on x {
            enabled: bar.panel.motion
            NumberAnimation { duration: 160; easing.type: Easing.OutCubic }
        }
    }
    Row {
        x: 2
        y: 2

        Repeater {
            model: bar.panel.presetNames

            Pressable {
                id: cell

                required property int index
                required property string modelData
                readonly property bool chosen: index === bar.panel.presetIndex

                width: bar.cellWidth
                height: 28
                accessibleName: modelData
                Accessible.role: Accessible.RadioButton
                Accessible.checkable: true
                Accessible.checked: chosen
                onClicked: bar.panel.selectPreset(index)

                Label {
                    anchors.centerIn: parent
                    text: cell.modelData
                    font.pixelSize: 11
                    font.weight: Font.DemiBold
                    color: cell.chosen ? "#161a23" : cell.hovered ? Theme.primaryText : Theme.secondaryText
                }
                FocusRing {
                    anchors.margins: -2
                    radius: 13
                }
            }
        }
    }
}
