import QtQuick
import Quenstal.Artwork

Item {
    id: controls

    required property PanelModel panel

    PresetBar {
        x: Theme.edge
        y: 64
        width: parent.width - 2 * Theme.edge
        panel: controls.panel
    }
    BandPlot {
        x: Theme.edge
        y: 106
        width: parent.width - 2 * Theme.edge
        height: 262
        panel: controls.panel
    }
    GlassPlate {
        x: Theme.edge
        y: 378
        width: parent.width - 2 * Theme.edge
        height: 46
        radius: 15
        color: Qt.rgba(1, 1, 1, 0.06)
        rim: Qt.rgba(1, 1, 1, 0.09)

        Label {
            x: 14
            width: 58
            anchors.verticalCenter: parent.verticalCenter
            text: qsTr("Preamp")
            font.weight: Font.DemiBold
        }
        PreampSlider {
            x: 72
            width: 172
            anchors.verticalCenter: parent.verticalCenter
            shownValue: controls.panel.preampDB
            active: controls.panel.eqEnabled
            onMoved: (gain) => { if (gain !== shownValue) controls.panel.setPreamp(gain) }
        }
        Label {
            x: parent.width - 14 - width
            width: 54
            anchors.verticalCenter: parent.verticalCenter
            horizontalAlignment: Text.AlignRight
            text: qsTr("%1 dB").arg(Theme.decibels(controls.panel.preampDB))
            font.pixelSize: 11
            font.weight: Font.DemiBold
            color: Theme.secondaryText
        }
    }
    BoostHint {
        x: Theme.edge
        y: 434
        width: parent.width - 2 * Theme.edge
        visible: controls.panel.boostHintVisible
        onDismissed: controls.panel.dismissBoostHint()
    }
    Pressable {
        id: reset
        x: Theme.edge - 4
        y: parent.height - 12 - height
        width: resetLabel.implicitWidth + 36
        height: 26
        accessibleName: qsTr("Reset")
        onClicked: controls.panel.resetEQ()

        GlassPlate {
            anchors.fill: parent
            radius: 9
            visible: reset.hovered || reset.pressed
            color: reset.pressed ? Theme.platePressed : Theme.plate
            rim: "transparent"
        }
        SymbolItem {
            x: 7
            anchors.verticalCenter: parent.verticalCenter
            width: 15
            height: 15
            name: "arrow.counterclockwise"
            color: Theme.secondaryText
        }
        Label {
            id: resetLabel
            x: 27
            anchors.verticalCenter: parent.verticalCenter
            text: qsTr("Reset")
            color: Theme.secondaryText
        }
        FocusRing {
            anchors.margins: -1
            radius: 10
        }
    }
}
