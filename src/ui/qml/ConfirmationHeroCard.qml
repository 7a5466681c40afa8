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
        Caption {
            text: "GEWÄHLTER MODUS"
            color: DesignSystem.accent
            font.weight: Font.DemiBold
            font.letterSpacing: 1.2
        }
        Heading {
            level: 2
            text: ViewModel.execution.modeTitle
        }
        Body {
            Layout.fillWidth: true
            text: ViewModel.execution.modeDescription
            wrapMode: Text.WordWrap
        }
    }
}
