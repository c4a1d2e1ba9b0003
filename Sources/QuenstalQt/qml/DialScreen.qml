import QtQuick
import Quenstal.Artwork

Item {
    id: screen

    required property PanelModel panel
    readonly property color accent: Theme.accent(panel.modeKind)
    readonly property string notice: panel.showsDDCBanner ? qsTr("Display has no DDC/CI - using software volume")
                                                          : panel.primaryDiagnostic

    GlassPlate {
        x: Theme.edge
        y: Theme.edge
        width: 40
        height: 40
        radius: 12
        color: Qt.rgba(1, 1, 1, 0.10)
        rim: Qt.rgba(1, 1, 1, 0.14)

        SymbolItem {
            anchors.centerIn: parent
            width: 22
            height: 22
            name: screen.panel.modeKind === "software" || screen.panel.modeKind === "hardware" ? "display" : "speaker.wave.2.fill"
            color: Theme.symbol
        }
    }
    Column {
        x: 66
        y: Theme.edge + 1
        width: 210
        spacing: 4

        Label {
            width: parent.width
            text: screen.panel.outputName
            font.family: Theme.displayFamily
            font.pixelSize: 16
            font.weight: Font.DemiBold
            Accessible.ignored: false
            Accessible.role: Accessible.Heading
            Accessible.name: text
            Accessible.description: screen.panel.modeLabel
        }
        Row {
            spacing: 6

            GlassPlate {
                anchors.verticalCenter: parent.verticalCenter
                width: 8
                height: 8
                radius: 4
                color: screen.accent
                rim: "transparent"
            }
            Label {
                text: screen.panel.modeLabel
                color: Theme.secondaryText
            }
        }
    }
    Toggle {
        x: parent.width - Theme.edge - width
        y: Theme.edge + 7
        accessibleName: qsTr("Quenstal")
        on: screen.panel.enabled
        motion: screen.panel.motion
        onClicked: screen.panel.toggleEnable()
    }

    Dial {
        anchors.horizontalCenter: parent.horizontalCenter
        y: screen.notice === "" ? 94 : 78
        panel: screen.panel

        Behavior on y {
            enabled: screen.panel.motion
            NumberAnimation { duration: 160; easing.type: Easing.OutCubic }
        }
    }

    Notice {
        x: Theme.edge
        width: parent.width - 2 * Theme.edge
        y: 296 - height
        visible: text !== ""
        text: screen.notice
        kind: screen.panel.showsDDCBanner ? "banner" : screen.panel.controllable ? "quiet" : "warning"
        onClicked: screen.panel.showSetupGuide()
    }

    Row {
        x: Theme.edge
        y: parent.height - Theme.edge - height
        spacing: 8

        Chip {
            symbol: screen.panel.muted ? "speaker.slash.fill" : "speaker.wave.2.fill"
            title: qsTr("Mute")
            subtitle: screen.panel.muted ? qsTr("On") : qsTr("Off")
            on: screen.panel.muted
            tint: Theme.muted
            onClicked: screen.panel.toggleMute()
        }
        Chip {
            symbol: "slider.vertical.3"
            title: qsTr("EQ")
            subtitle: screen.panel.eqChipSubtitle
            on: screen.panel.eqEnabled
            onClicked: screen.panel.showEqualizer()
        }
        Chip {
            symbol: "ellipsis"
            title: qsTr("More")
            subtitle: qsTr("Actions")
            Accessible.checkable: false
            onClicked: screen.panel.toggleMoreActions()
        }
    }
}
