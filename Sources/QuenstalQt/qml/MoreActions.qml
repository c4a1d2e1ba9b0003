import QtQuick
import Quenstal.Artwork

// The tray of further actions, over the dial screen.
Item {
    id: tray

    required property PanelModel panel

    GlassPlate {
        anchors.fill: parent
        anchors.margins: 2
        radius: 22
        color: Qt.rgba(0.04, 0.04, 0.06, 0.55)
        rim: "transparent"

        TapHandler {
            gesturePolicy: TapHandler.WithinBounds
            onTapped: tray.panel.hideMoreActions()
        }
    }
    GlassSurface {
        anchors.fill: card
        anchors.margins: -margin
        margin: 18
        radius: 18
        translucent: false
        accent: Theme.software
    }
    Item {
        id: card
        x: parent.width - Theme.edge - width
        y: parent.height - Theme.edge - height
        width: 232
        height: entries.height + 16
        Accessible.role: Accessible.PopupMenu
        Accessible.name: qsTr("More")

        Column {
            id: entries
            x: 8
            y: 8
            width: parent.width - 16

            MenuEntry {
                focus: true
                symbol: "checklist"
                text: qsTr("Setup Guide")
                onClicked: tray.panel.openSetupGuide()
            }
            MenuEntry {
                symbol: "gearshape"
                text: qsTr("Sound Settings")
                onClicked: tray.panel.openSettings()
            }
            MenuEntry {
                symbol: "arrow.clockwise"
                text: qsTr("Refresh Output")
                onClicked: tray.panel.refreshOutput()
            }
            MenuEntry {
                symbol: "doc.on.doc"
                text: qsTr("Copy Diagnostics")
                onClicked: tray.panel.copyDiagnostics()
            }
            Item {
                width: parent.width
                height: 11

                GlassPlate {
                    anchors.verticalCenter: parent.verticalCenter
                    x: 10
                    width: parent.width - 20
                    height: 1
                    radius: 0
                    color: Qt.rgba(1, 1, 1, 0.11)
                    rim: "transparent"
                }
            }
            MenuEntry {
                symbol: "power"
                text: qsTr("Quit Quenstal")
                onClicked: tray.panel.quit()
            }
            MenuEntry {
                symbol: "xmark"
                text: qsTr("Close")
                onClicked: tray.panel.hideMoreActions()
            }
        }
    }
}
