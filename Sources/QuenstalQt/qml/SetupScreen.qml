import QtQuick
import Quenstal.Artwork

// The first-run guide: what happens to the volume of this output, and the two permissions.
Item {
    id: screen

    required property PanelModel panel

    Header {
        x: Theme.edge
        y: Theme.edge
        width: parent.width - 2 * Theme.edge
        title: qsTr("First-run essentials")
        subtitle: screen.panel.outputSummary
        onBack: screen.panel.showDial()
    }
    Column {
        x: Theme.edge
        y: 62
        width: parent.width - 2 * Theme.edge
        spacing: 6

        GlassPlate {
            width: parent.width
            height: facts.height + 20
            radius: 16
            sunken: true
            color: Theme.well
            rim: Qt.rgba(1, 1, 1, 0.08)

            Column {
                id: facts
                x: 12
                y: 10
                width: parent.width - 24
                spacing: 8

                SetupFact {
                    width: parent.width
                    symbol: "display"
                    text: screen.panel.hardwareSummary
                }
                SetupFact {
                    width: parent.width
                    symbol: "waveform"
                    text: screen.panel.softwareSummary
                }
            }
        }
        PermissionCard {
            width: parent.width
            symbol: "keyboard"
            title: qsTr("Accessibility")
            status: screen.panel.accessibilityStatus
            done: screen.panel.accessibilityGranted
            detail: screen.panel.keyCaptured || screen.panel.captureAdvice === "" ? screen.panel.lastCapture
                                                                                  : screen.panel.captureAdvice
            detailDone: screen.panel.keyCaptured
            actionTitle: screen.panel.accessibilityActionTitle
            prominent: !screen.panel.accessibilityGranted
            onAction: screen.panel.requestAccessibility()
        }
        PermissionCard {
            width: parent.width
            symbol: "waveform"
            title: qsTr("System Audio Capture")
            status: screen.panel.audioCaptureStatus
            done: !screen.panel.audioCaptureNeeded
            actionTitle: screen.panel.audioCaptureActionTitle
            prominent: screen.panel.audioCaptureNeeded && screen.panel.accessibilityGranted
            onAction: screen.panel.audioCaptureAction()
        }
    }
    ActionButton {
        x: Theme.edge
        y: parent.height - Theme.edge - height
        width: parent.width - 2 * Theme.edge
        height: 38
        prominent: screen.panel.accessibilityGranted && !screen.panel.audioCaptureNeeded
        text: qsTr("Done")
        onClicked: screen.panel.finishSetup()
    }
}
