import QtQuick
import QtQuick.Layouts
import Kestrava

RowLayout {
    id: confirmationRow
    property string label
    property string value
    spacing: DesignSystem.spacingM
    Body {
        Layout.preferredWidth: 220
        text: confirmationRow.label
    }
    Body {
        Layout.fillWidth: true
        text: confirmationRow.value
        color: DesignSystem.textPrimary
        elide: Text.ElideMiddle
    }
}
