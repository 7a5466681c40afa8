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
        Text {
            text: "Kestrava"
            color: DesignSystem.textPrimary
            font.pixelSize: DesignSystem.fontHeading
            font.weight: Font.DemiBold
        }
        Text {
            text: "Deine Auswahl. Sicher organisiert."
            color: DesignSystem.textSecondary
            font.pixelSize: DesignSystem.fontBody
            Layout.fillWidth: true
            elide: Text.ElideRight
        }
        Text {
            visible: ViewModel.route === AppRoute.Reviewing || ViewModel.route === AppRoute.Setup
                     || ViewModel.route === AppRoute.Confirmation
            text: ViewModel.session.savedStatusText
            color: DesignSystem.textMuted
            font.pixelSize: DesignSystem.fontCaption
        }
    }
}
