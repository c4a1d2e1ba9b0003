import QtQuick
import Quenstal.Artwork

Item {
    id: fact

    property string symbol
    property string text
    property bool isWarning: false
    property alias maximumLineCount: label.maximumLineCount

    height: Math.max(18, label.implicitHeight)

    SymbolItem {
        y: (parent.height - height) / 2
        width: 18
        height: 18
        name: fact.symbol
        color: fact.isWarning ? Theme.warningText : Theme.symbol
    }
    Label {
        id: label
        x: 30
        width: parent.width - x
        anchors.verticalCenter: parent.verticalCenter
        text: fact.text
        wrapMode: Text.WordWrap
        font.pixelSize: 11
        color: fact.isWarning ? Theme.warningText : Theme.secondaryText
        Accessible.ignored: false
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }
}
