import QtQuick
import QtQuick.Controls
import Kestrava

Button {
    id: control
    property bool destructive: false
    font.pixelSize: DesignSystem.fontBody
    font.weight: Font.DemiBold
    padding: 12
    leftPadding: 22
    rightPadding: 22
    Accessible.name: text
    contentItem: Text {
        text: control.text
        font: control.font
        color: control.enabled ? (control.destructive ? "white" : DesignSystem.textOnAccent) : DesignSystem.textMuted
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
    }
    background: Rectangle {
        implicitHeight: 42
        radius: DesignSystem.radiusSmall
        color: !control.enabled ? DesignSystem.cardRaised
             : control.destructive ? (control.down ? DesignSystem.dangerPressed : DesignSystem.danger)
             : (control.down ? DesignSystem.accentPressed : DesignSystem.accent)
        border.color: control.visualFocus ? DesignSystem.textPrimary : "transparent"
        border.width: 2
    }
}
