import QtQuick
import Quenstal.Artwork

// The whole panel: the glass, the screen in front, and over it the tray or a question. Only what is shown is loaded.
Item {
    id: root

    required property PanelModel panel
    // Width of the shadow around the glass.
    property int margin: 0
    property bool translucent: true
    property QtObject question: null

    Binding {
        target: Theme
        property: "showsFocus"
        value: root.panel.keyboardInUse
    }
    GlassSurface {
        anchors.fill: parent
        margin: root.margin
        translucent: root.translucent
        accent: root.panel.modeKind === "hardware" && root.panel.controllable ? "#2fae8a" : "#466eff"
    }
    FocusScope {
        anchors.fill: parent
        anchors.margins: root.margin
        focus: true

        Loader {
            id: screen
            anchors.fill: parent
            focus: !overlay.active
            enabled: !overlay.active
            sourceComponent: root.panel.screen === "setup" ? setupScreen
                : root.panel.screen === "equalizer" ? equalizerScreen : dialScreen
            onLoaded: item.focus = true
        }
        Loader {
            id: overlay
            anchors.fill: parent
            focus: active
            active: root.question !== null || root.panel.showsMoreActions
            sourceComponent: root.question !== null ? questionSheet : moreActions
            onLoaded: item.focus = true
        }
    }
    Component {
        id: dialScreen
        DialScreen { panel: root.panel }
    }
    Component {
        id: setupScreen
        SetupScreen { panel: root.panel }
    }
    Component {
        id: equalizerScreen
        EqualizerScreen { panel: root.panel }
    }
    Component {
        id: moreActions
        MoreActions { panel: root.panel }
    }
    Component {
        id: questionSheet
        QuestionSheet { question: root.question }
    }
}
