import QtQuick
import QtQuick.Layouts
import Kestrava

// A number with its label: execution metrics and result cards.
Rectangle {
    property string label
    property string value
    property color accentColor: DesignSystem.textPrimary
    radius: DesignSystem.radius
    color: DesignSystem.card
    border.color: DesignSystem.border
    implicitWidth: 180
    implicitHeight: 92
    Accessible.role: Accessible.StaticText
    Accessible.name: label + ": " + value
    ColumnLayout {
        anchors.fill: parent
        anchors.margins: DesignSystem.spacingM
        spacing: DesignSystem.spacingXS
        Text {
            text: value
            color: accentColor
            font.pixelSize: DesignSystem.fontTitle
            font.weight: Font.DemiBold
            // Long values ("1,2 GB von 40 GB") shrink before they are cut.
            fontSizeMode: Text.HorizontalFit
            minimumPixelSize: DesignSystem.fontBody
            elide: Text.ElideRight
            Layout.fillWidth: true
        }
        Text {
            text: label
            color: DesignSystem.textSecondary
            font.pixelSize: DesignSystem.fontCaption
            Layout.fillWidth: true
            elide: Text.ElideRight
        }
    }
}
