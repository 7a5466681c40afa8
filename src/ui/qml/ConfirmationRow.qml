import QtQuick
import QtQuick.Layouts
import Kestrava

RowLayout {
    id: confirmationRow
    property string label
    property string value
    spacing: DesignSystem.spacingM
    Text {
        Layout.preferredWidth: 220
        text: confirmationRow.label
        color: DesignSystem.textSecondary
        font.pixelSize: DesignSystem.fontBody
    }
    Text {
        Layout.fillWidth: true
        text: confirmationRow.value
        color: DesignSystem.textPrimary
        font.pixelSize: DesignSystem.fontBody
        elide: Text.ElideMiddle
    }
}
