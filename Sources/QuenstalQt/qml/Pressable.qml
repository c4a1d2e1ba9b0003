import QtQuick

// Anything that can be pressed: by pointer, by Space or Enter, by assistive technology.
Item {
    id: pressable

    property string accessibleName
    readonly property bool hovered: hover.hovered
    readonly property bool pressed: tap.pressed
    signal clicked()

    activeFocusOnTab: enabled
    Accessible.role: Accessible.Button
    Accessible.name: accessibleName
    Accessible.focusable: true
    Accessible.onPressAction: clicked()
    Keys.onSpacePressed: clicked()
    Keys.onReturnPressed: clicked()
    Keys.onEnterPressed: clicked()

    HoverHandler {
        id: hover
    }
    TapHandler {
        id: tap
        gesturePolicy: TapHandler.ReleaseWithinBounds
        onTapped: pressable.clicked()
    }
}
