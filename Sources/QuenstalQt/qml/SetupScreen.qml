import QtQuick
import Quenstal.Artwork

// The first-run guide: what happens to the volume of this output, and the two permissions.
Item {
    id: screen

    required property PanelModel panel
    readonly property bool showsCaptureAdvice: !panel.keyCaptured && panel.captureAdvice !== ""
    /// Two pieces of advice leave no room for anything else about the output.
    readonly property bool isCrowded: showsCaptureAdvice && panel.monitorAdvice !== ""

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
                    visible: !screen.isCrowded
                    text: screen.panel.hardwareSummary
                }
                SetupFact {
                    width: parent.width
                    visible: text !== ""
                    symbol: "exclamationmark.triangle"
                    text: screen.panel.monitorAdvice
                    isWarning: true
                    maximumLineCount: 5
                }
                SetupFact {
                    width: parent.width
                    visible: !screen.isCrowded
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
            detail: screen.showsCaptureAdvice ? screen.panel.captureAdvice : screen.panel.lastCapture
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
