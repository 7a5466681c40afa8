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
    // Space presses a focused button in Qt Quick; desktop users expect Enter to as well.
    Keys.onReturnPressed: control.clicked()
    Keys.onEnterPressed: control.clicked()
    // Whole pixels: a width a fraction short of the text's own would wrap its last word.
    implicitWidth: Math.max(implicitBackgroundWidth + leftInset + rightInset,
                            Math.ceil(implicitContentWidth) + leftPadding + rightPadding)
    contentItem: Text {
        text: control.text
        font: control.font
        color: control.enabled ? (control.destructive ? "white" : DesignSystem.textOnAccent) : DesignSystem.textMuted
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        // A narrow window wraps whole words onto a second line rather than cutting one.
        wrapMode: Text.WordWrap
        maximumLineCount: 2
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
