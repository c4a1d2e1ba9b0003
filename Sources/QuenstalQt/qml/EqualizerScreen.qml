import QtQuick
import Quenstal.Artwork

Item {
    id: screen

    required property PanelModel panel

    Header {
        x: Theme.edge
        y: Theme.edge
        width: parent.width - 2 * Theme.edge
        title: qsTr("Equalizer")
        subtitle: screen.panel.outputName
        onBack: screen.panel.showDial()
        trailing: Toggle {
            anchors.verticalCenter: parent.verticalCenter
            visible: screen.panel.eqAvailable
            accessibleName: qsTr("Equalizer")
            on: screen.panel.eqEnabled
            motion: screen.panel.motion
            onClicked: screen.panel.setEQEnabled(!screen.panel.eqEnabled)
        }
    }
    Loader {
        anchors.fill: parent
        active: screen.panel.eqAvailable
        sourceComponent: EqualizerControls {
            panel: screen.panel
        }
    }
    Loader {
        anchors.fill: parent
        active: !screen.panel.eqAvailable
        sourceComponent: EqualizerUnavailable {
            panel: screen.panel
        }
    }
}
