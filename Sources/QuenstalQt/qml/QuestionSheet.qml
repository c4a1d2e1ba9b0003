import QtQuick
import Quenstal.Artwork

// A question, or an explanation, in front of everything else in the panel.
FocusScope {
    id: sheet

    required property Question question

    GlassPlate {
        anchors.fill: parent
        anchors.margins: 2
        radius: 22
        color: Qt.rgba(0.03, 0.03, 0.05, 0.62)
        rim: "transparent"

        // Nothing behind the sheet can be reached.
        MouseArea {
            anchors.fill: parent
            hoverEnabled: true
            acceptedButtons: Qt.AllButtons
            onWheel: (wheel) => { wheel.accepted = true }
        }
    }
    GlassSurface {
        anchors.fill: card
        anchors.margins: -margin
        margin: 18
        radius: 20
        translucent: false
        accent: Theme.software
    }
    Item {
        id: card
        anchors.centerIn: parent
        width: 288
        height: content.height + 36
        Accessible.role: Accessible.AlertMessage
        Accessible.name: sheet.question.title
        Accessible.description: sheet.question.text

        Column {
            id: content
            x: 20
            y: 18
            width: parent.width - 40

            Label {
                width: parent.width
                horizontalAlignment: Text.AlignHCenter
                wrapMode: Text.WordWrap
                text: sheet.question.title
                font.family: Theme.displayFamily
                font.pixelSize: 15
                font.weight: Font.DemiBold
            }
            Item { width: 1; height: 6 }
            Label {
                width: parent.width
                horizontalAlignment: sheet.question.buttons.length > 1 ? Text.AlignHCenter : Text.AlignLeft
                wrapMode: Text.Wrap
                text: sheet.question.text
                font.weight: Font.Normal
                lineHeight: 1.15
                color: Theme.secondaryText
            }
            Item { width: 1; height: 16 }
            // The first button answers Enter; it stands on the right.
            Row {
                width: parent.width
                spacing: 8
                layoutDirection: Qt.RightToLeft

                Repeater {
                    model: sheet.question.buttons

                    ActionButton {
                        required property int index
                        required property string modelData
                        width: (content.width - 8 * (sheet.question.buttons.length - 1)) / sheet.question.buttons.length
                        height: 34
                        focus: index === 0
                        prominent: index === 0
                        text: modelData
                        onClicked: sheet.question.answer(index)
                    }
                }
            }
        }
    }
    Keys.onEscapePressed: sheet.question.answer(sheet.question.buttons.length - 1)
}
