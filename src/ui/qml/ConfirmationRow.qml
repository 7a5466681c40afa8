import QtQuick
import QtQuick.Layouts
import Kestrava

RowLayout {
    property string label
    property string value
    spacing: DesignSystem.spacingM
    Text {
        Layout.preferredWidth: 220
        text: label
        color: DesignSystem.textSecondary
        font.pixelSize: DesignSystem.fontBody
    }
    Text {
        Layout.fillWidth: true
        text: value
        color: DesignSystem.textPrimary
        font.pixelSize: DesignSystem.fontBody
        elide: Text.ElideMiddle
    }
}
