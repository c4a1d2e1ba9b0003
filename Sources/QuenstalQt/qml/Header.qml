import QtQuick

// Title and back button of a screen that leads back to the dial.
Item {
    id: header

    property string title
    property string subtitle
    property alias trailing: slot.data
    signal back()

    height: 38

    RoundButton {
        id: backButton
        width: 36
        height: 36
        anchors.verticalCenter: parent.verticalCenter
        symbol: "chevron.left"
        accessibleName: qsTr("Back")
        onClicked: header.back()
    }
    Column {
        x: 46
        width: slot.x - x - 8
        anchors.verticalCenter: parent.verticalCenter
        spacing: 2

        Label {
            width: parent.width
            text: header.title
            font.family: Theme.displayFamily
            font.pixelSize: 16
            font.weight: Font.DemiBold
            Accessible.ignored: false
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }
        Label {
            width: parent.width
            text: header.subtitle
            font.pixelSize: 11
            color: Theme.secondaryText
        }
    }
    Item {
        id: slot
        x: header.width - width
        width: childrenRect.width
        height: parent.height
    }
}
