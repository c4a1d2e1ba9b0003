import QtQuick

Text {
    color: Theme.primaryText
    font.family: Theme.textFamily
    font.pixelSize: 12
    font.weight: Font.Medium
    textFormat: Text.PlainText
    elide: Text.ElideRight
    Accessible.ignored: true
}
