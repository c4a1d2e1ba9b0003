import QtQuick
import Quenstal.Artwork

// The volume dial with its read-out: 166 by 160 points, the arc's square at the top.
Item {
    id: frame

    required property PanelModel panel
    readonly property bool dimmed: panel.muted || !panel.controllable

    width: 166
    height: 160

    VolumeDial {
        id: dial
        objectName: "dial"
        x: -16
        y: -16
        width: 198
        height: 198
        value: frame.panel.levelPercent
        shown: frame.panel.levelPercent
        muted: frame.panel.muted
        active: frame.panel.enabled
        controllable: frame.panel.controllable
        hardware: frame.panel.modeKind === "hardware"
        focused: activeFocus && Theme.showsFocus

        Accessible.role: Accessible.Slider
        Accessible.name: qsTr("Volume")
        Accessible.description: frame.panel.statusTitle
        Accessible.focusable: true
        Accessible.onIncreaseAction: frame.panel.stepDial(true)
        Accessible.onDecreaseAction: frame.panel.stepDial(false)

        onPressed: (x, y) => frame.panel.pressDial(x, y)
        onMoved: (x, y) => frame.panel.moveOnDial(x, y)
        onReleased: frame.panel.releaseDial()
        onScrolled: (notches) => frame.panel.scrollDial(notches)
        // Assistive technology writes the value; what the panel shows stays the state's.
        onValueChanged: {
            if (value === frame.panel.levelPercent)
                return
            frame.panel.setVolumePercent(value)
            value = Qt.binding(() => frame.panel.levelPercent)
        }

        Behavior on shown {
            enabled: frame.panel.motion && !dial.dragging
            NumberAnimation { duration: 140; easing.type: Easing.OutCubic }
        }
    }

    Item {
        anchors.horizontalCenter: parent.horizontalCenter
        y: 46
        width: figure.width + 18
        height: 58
        opacity: frame.dimmed ? 0.7 : 1

        TextMetrics {
            id: cell
            font.family: Theme.displayFamily
            // Three digits would reach the ticks.
            font.pixelSize: frame.panel.levelPercent > 99 ? 42 : 48
            font.weight: Font.Light
            text: "0"
        }
        // Every digit has a cell of its own, so that nothing moves while the number runs.
        Row {
            id: figure
            anchors.horizontalCenter: parent.horizontalCenter
            anchors.verticalCenter: parent.verticalCenter

            Repeater {
                model: frame.panel.levelPercent.toString().split("")

                Label {
                    required property string modelData
                    width: Math.round(cell.advanceWidth - 2)
                    horizontalAlignment: Text.AlignHCenter
                    elide: Text.ElideNone
                    text: modelData
                    color: "white"
                    font: cell.font
                }
            }
        }
        Label {
            x: figure.x + figure.width + 1
            y: figure.y + 7
            text: "%"
            color: frame.dimmed ? Theme.primaryText : Theme.secondaryText
            font.family: Theme.displayFamily
            font.pixelSize: 17
            font.weight: Font.Normal
        }
    }
    Label {
        anchors.horizontalCenter: parent.horizontalCenter
        y: 103
        text: !frame.panel.enabled ? qsTr("OFF") : frame.panel.muted ? qsTr("MUTED") : qsTr("VOLUME")
        color: frame.panel.muted && frame.panel.controllable ? "#ff9d94" : Theme.tertiaryText
        font.pixelSize: 10
        font.weight: Font.DemiBold
        font.letterSpacing: 1.6
    }
    SymbolItem {
        x: 73
        y: 142
        width: 20
        height: 20
        name: frame.panel.statusSymbol
        color: Theme.secondaryText
    }
}
