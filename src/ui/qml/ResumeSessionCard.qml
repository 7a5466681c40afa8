import QtQuick
import QtQuick.Layouts
import Kestrava

Card {
    objectName: "resumeSessionCard"
    highlighted: true
    implicitHeight: column.implicitHeight + 2 * padding
    ColumnLayout {
        id: column
        width: parent.width
        spacing: DesignSystem.spacingM
        Text {
            text: "Weitermachen, wo du aufgehört hast?"
            color: DesignSystem.textPrimary
            font.pixelSize: DesignSystem.fontHeading
            font.weight: Font.DemiBold
        }
        Text {
            Layout.fillWidth: true
            text: ViewModel.session.resumableSessionDescription
            color: DesignSystem.textSecondary
            font.pixelSize: DesignSystem.fontBody
            wrapMode: Text.WordWrap
        }
        RowLayout {
            spacing: DesignSystem.spacingS
            PrimaryButton { text: "Fortsetzen"; onClicked: ViewModel.session.resumeSavedSession() }
            SecondaryButton { text: "Ignorieren"; onClicked: ViewModel.session.ignoreSavedSession() }
        }
    }
}
