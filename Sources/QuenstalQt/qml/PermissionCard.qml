import QtQuick
import Quenstal.Artwork

Item {
    id: card

    property string symbol
    property string title
    property string status
    property bool done: false
    property string detail
    property bool detailDone: false
    property string actionTitle
    property bool prominent: false
    signal action()

    height: content.height + 20
    Accessible.role: Accessible.Grouping
    Accessible.name: title
    Accessible.description: status

    GlassPlate {
        anchors.fill: parent
        radius: 16
        color: Qt.rgba(1, 1, 1, 0.065)
        rim: Theme.rim
    }
    GlassPlate {
        x: 12
        y: 10
        width: 34
        height: 34
        radius: 17
        color: card.done ? Qt.rgba(0.25, 0.82, 0.50, 0.22) : Qt.rgba(1, 0.70, 0.28, 0.20)
        rim: card.done ? Qt.rgba(0.25, 0.86, 0.52, 0.50) : Qt.rgba(1, 0.74, 0.30, 0.50)

        SymbolItem {
            anchors.centerIn: parent
            width: 19
            height: 19
            name: card.symbol
            color: card.done ? "#a6f2c6" : Theme.warningText
        }
    }
    Column {
        id: content
        x: 58
        y: 10
        width: parent.width - x - 12

        Row {
            width: parent.width
            spacing: 6

            Label {
                width: Math.min(implicitWidth, parent.width - 22)
                text: card.title
                font.pixelSize: 13
                font.weight: Font.DemiBold
            }
            SymbolItem {
                anchors.verticalCenter: parent.verticalCenter
                width: 14
                height: 14
                visible: card.done
                name: "checkmark"
                color: "#5fe39b"
            }
        }
        Item { width: 1; height: 2 }
        Label {
            width: parent.width
            wrapMode: Text.WordWrap
            text: card.status
            font.pixelSize: 11
            color: card.done ? Theme.secondaryText : Theme.warningText
        }
        Item { width: 1; height: 3; visible: detail.visible }
        Label {
            id: detail
            width: parent.width
            visible: text !== ""
            wrapMode: Text.WordWrap
            maximumLineCount: 6
            text: card.detail
            font.pixelSize: 11
            color: card.detailDone ? "#8fe8b6" : Theme.tertiaryText
            Accessible.ignored: false
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        Item { width: 1; height: 8 }
        ActionButton {
            height: 28
            text: card.actionTitle
            prominent: card.prominent
            onClicked: card.action()
        }
    }
}
