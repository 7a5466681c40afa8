import QtQuick
import QtQuick.Controls
import Kestrava

Button {
    id: control
    font.pixelSize: DesignSystem.fontBody
    padding: 10
    leftPadding: 18
    rightPadding: 18
    Accessible.name: text
    contentItem: Text {
        text: control.text
        font: control.font
        color: control.enabled ? DesignSystem.textPrimary : DesignSystem.textMuted
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
    }
    background: Rectangle {
        implicitHeight: 38
        radius: DesignSystem.radiusSmall
        color: control.down ? DesignSystem.border : (control.hovered ? DesignSystem.cardRaised : "transparent")
        border.color: control.visualFocus ? DesignSystem.accent : DesignSystem.border
        border.width: 1
    }
}
