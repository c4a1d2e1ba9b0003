import QtQuick

// What the sliders of the equalizer have in common: a gain in half decibels, asked for by keys, wheel or assistive
// technology, and shown as the profile has it.
Item {
    id: slider

    // Under the names that assistive technology looks for.
    property real value: shownValue
    property real minimumValue: -12
    property real maximumValue: 12
    readonly property real stepSize: 0.5
    property real shownValue: 0
    property bool active: true
    // Parts of a notch that a smooth wheel has turned so far.
    property int turned: 0
    signal moved(real gain)

    function bounded(gain) { return Math.max(minimumValue, Math.min(maximumValue, gain)) }
    function rounded(gain) { return bounded(Math.round(gain / stepSize) * stepSize) }
    function step(count) { moved(bounded(shownValue + count * stepSize)) }
    function turn(angle) {
        const notch = 120
        const most = 4 * notch
        turned += Math.max(-most, Math.min(most, angle))
        const notches = Math.trunc(turned / notch)
        turned -= notches * notch
        if (notches !== 0)
            step(notches)
    }

    activeFocusOnTab: true
    Accessible.role: Accessible.Slider
    Accessible.description: qsTr("%1 dB").arg(Theme.decibels(shownValue))
    Accessible.focusable: true
    Accessible.onIncreaseAction: step(1)
    Accessible.onDecreaseAction: step(-1)

    // Assistive technology writes the value; what is shown stays the profile's.
    onValueChanged: {
        if (value === shownValue)
            return
        if (!isNaN(value))
            moved(bounded(value))
        value = Qt.binding(() => shownValue)
    }
}
