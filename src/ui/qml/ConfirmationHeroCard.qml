import QtQuick
import QtQuick.Layouts
import Kestrava

Card {
    highlighted: true
    implicitHeight: column.implicitHeight + 2 * padding
    ColumnLayout {
        id: column
        width: parent.width
        spacing: DesignSystem.spacingS
        Text {
            text: "GEWÄHLTER MODUS"
            color: DesignSystem.accent
            font.pixelSize: DesignSystem.fontCaption
            font.weight: Font.DemiBold
            font.letterSpacing: 1.2
        }
        Text {
            text: ViewModel.execution.modeTitle
            color: DesignSystem.textPrimary
            font.pixelSize: DesignSystem.fontTitle
            font.weight: Font.DemiBold
        }
        Text {
            Layout.fillWidth: true
            text: ViewModel.execution.modeDescription
            color: DesignSystem.textSecondary
            font.pixelSize: DesignSystem.fontBody
            wrapMode: Text.WordWrap
        }
    }
}
