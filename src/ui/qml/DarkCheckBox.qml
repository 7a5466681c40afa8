import QtQuick
import QtQuick.Controls
import Kestrava

// A check box drawn for the dark surfaces, matching DarkRadioButton.
CheckBox {
    id: control
    indicator: Rectangle {
        x: control.leftPadding
        y: control.topPadding + (control.availableHeight - height) / 2
        implicitWidth: 20
        implicitHeight: 20
        radius: 4
        color: control.checked ? DesignSystem.accent : "transparent"
        border.width: control.visualFocus ? 2 : 1.5
        border.color: control.checked || control.visualFocus ? DesignSystem.accent : DesignSystem.textSecondary
        Text {
            anchors.centerIn: parent
            visible: control.checked
            text: "✓"
            color: DesignSystem.textOnAccent
            font.pixelSize: 14
            font.weight: Font.Bold
        }
    }
    contentItem: Body {
        leftPadding: control.indicator.width + control.spacing
        text: control.text
        color: DesignSystem.textPrimary
        verticalAlignment: Text.AlignVCenter
        wrapMode: Text.WordWrap
    }
}
