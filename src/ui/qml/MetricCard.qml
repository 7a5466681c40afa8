import QtQuick
import QtQuick.Layouts
import Kestrava

// A number with its label: execution metrics and result cards.
Rectangle {
    id: card
    property string label
    property string value
    property color accentColor: DesignSystem.textPrimary
    radius: DesignSystem.radius
    color: DesignSystem.card
    border.color: DesignSystem.border
    implicitWidth: 180
    implicitHeight: Math.max(92, column.implicitHeight + 2 * DesignSystem.spacingM)
    Accessible.role: Accessible.StaticText
    Accessible.name: label + ": " + value
    ColumnLayout {
        id: column
        anchors.fill: parent
        anchors.margins: DesignSystem.spacingM
        spacing: DesignSystem.spacingXS
        Heading {
            level: 2
            objectName: "metricValue"
            text: card.value
            color: card.accentColor
            // Long values ("1,2 GB von 40 GB") continue on a second line, between words.
            wrapMode: Text.WordWrap
            maximumLineCount: 2
            elide: Text.ElideRight
            Layout.fillWidth: true
        }
        Caption {
            text: card.label
            color: DesignSystem.textSecondary
            Layout.fillWidth: true
            wrapMode: Text.WordWrap
        }
    }
}
