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
    // Space presses a focused button in Qt Quick; desktop users expect Enter to as well.
    Keys.onReturnPressed: control.clicked()
    Keys.onEnterPressed: control.clicked()
    // Whole pixels: a width a fraction short of the text's own would wrap its last word.
    implicitWidth: Math.max(implicitBackgroundWidth + leftInset + rightInset,
                            Math.ceil(implicitContentWidth) + leftPadding + rightPadding)
    contentItem: Text {
        text: control.text
        font: control.font
        color: control.enabled ? DesignSystem.textPrimary : DesignSystem.textMuted
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        // A narrow window wraps whole words onto a second line rather than cutting one.
        wrapMode: Text.WordWrap
        maximumLineCount: 2
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
