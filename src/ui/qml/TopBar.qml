import QtQuick
import QtQuick.Layouts
import Kestrava

// The brand lockup and the save state.
Rectangle {
    implicitHeight: 52
    color: DesignSystem.surface
    Rectangle { anchors.bottom: parent.bottom; width: parent.width; height: 1; color: DesignSystem.border }
    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: DesignSystem.spacingL
        anchors.rightMargin: DesignSystem.spacingL
        spacing: DesignSystem.spacingM
        Rectangle {
            width: 26; height: 26; radius: 7
            color: DesignSystem.accent
            Text {
                anchors.centerIn: parent
                text: "K"
                color: DesignSystem.textOnAccent
                font.pixelSize: 15
                font.weight: Font.Bold
            }
        }
        Heading {
            text: "Kestrava"
        }
        Body {
            text: "Deine Auswahl. Sicher organisiert."
            Layout.fillWidth: true
            elide: Text.ElideRight
        }
        Caption {
            visible: ViewModel.route === AppRoute.Reviewing || ViewModel.route === AppRoute.Setup
                     || ViewModel.route === AppRoute.Confirmation
            text: ViewModel.session.savedStatusText
        }
    }
}
