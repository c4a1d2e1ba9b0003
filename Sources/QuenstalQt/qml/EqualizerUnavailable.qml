import QtQuick
import Quenstal.Artwork

// Explains why there is no equalizer for this output, and offers the way to it.
Item {
    id: notice

    required property PanelModel panel

    GlassPlate {
        x: Theme.edge
        y: 66
        width: parent.width - 2 * Theme.edge
        height: parent.height - y - Theme.edge
        radius: 18
        sunken: true
        color: Theme.well
        rim: Qt.rgba(1, 1, 1, 0.08)

        Column {
            anchors.centerIn: parent
            width: parent.width - 36
            spacing: 0

            GlassPlate {
                anchors.horizontalCenter: parent.horizontalCenter
                width: 44
                height: 44
                radius: 22
                color: Qt.rgba(1, 1, 1, 0.09)
                rim: Theme.rim

                SymbolItem {
                    anchors.centerIn: parent
                    width: 23
                    height: 23
                    name: "slider.vertical.3"
                    color: Theme.symbol
                }
            }
            Item { width: 1; height: 10 }
            Label {
                width: parent.width
                horizontalAlignment: Text.AlignHCenter
                wrapMode: Text.WordWrap
                text: qsTr("EQ is unavailable")
                font.family: Theme.displayFamily
                font.pixelSize: 15
                font.weight: Font.DemiBold
                Accessible.ignored: false
                Accessible.role: Accessible.StaticText
                Accessible.name: text
                Accessible.description: reason.text
            }
            Item { width: 1; height: 4 }
            Label {
                id: reason
                width: parent.width
                horizontalAlignment: Text.AlignHCenter
                wrapMode: Text.WordWrap
                text: notice.panel.softwareSummary
                lineHeight: 1.15
                font.weight: Font.Normal
                color: Theme.secondaryText
            }
            Item { width: 1; height: 14 }
            Row {
                anchors.horizontalCenter: parent.horizontalCenter
                spacing: 8

                ActionButton {
                    visible: notice.panel.eqCanSwitchToSoftware
                    prominent: true
                    text: qsTr("Try Software Mode")
                    onClicked: notice.panel.switchToSoftware()
                }
                ActionButton {
                    visible: notice.panel.eqNeedsAudioPermission || !notice.panel.eqCanSwitchToSoftware
                    prominent: !notice.panel.eqCanSwitchToSoftware
                    text: qsTr("Sound Settings")
                    onClicked: notice.panel.openAudioSettings()
                }
            }
            Item { width: 1; height: 12 }
            Label {
                width: parent.width
                horizontalAlignment: Text.AlignHCenter
                wrapMode: Text.WordWrap
                text: qsTr("Reason: %1").arg(notice.panel.eqUnavailableReason)
                font.pixelSize: 10
                color: Theme.tertiaryText
            }
        }
    }
}
