import QtQuick
import Kestrava

// One screen of the main window, shown while the route is one of `routes`; fades in and out
// (instantly when the desktop asks for reduced motion) and exists only while visible.
Item {
    id: layer
    // AppRoute values.
    property var routes: []
    property Component screen
    readonly property bool shown: routes.indexOf(ViewModel.route) >= 0
    anchors.fill: parent
    opacity: shown ? 1 : 0
    visible: opacity > 0
    enabled: shown
    Behavior on opacity {
        enabled: !Shell.reducedMotion
        // Qt 6.4's linter knows no easing curve type.
        NumberAnimation { duration: DesignSystem.fadeDuration; easing.type: Easing.InOutQuad } // qmllint disable
    }
    Loader {
        anchors.fill: parent
        active: layer.visible
        sourceComponent: layer.screen
    }
}
