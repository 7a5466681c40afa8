import QtQuick
import Kestrava

// A heading. `level` 1 is a screen's title, 2 the prominent line of a card or a centred screen,
// 3 (the default) a section's or a card's heading.
Text {
    property int level: 3
    color: DesignSystem.textPrimary
    font.pixelSize: level === 1 ? DesignSystem.fontTitle + 4 : level === 2 ? DesignSystem.fontTitle : DesignSystem.fontHeading
    font.weight: level === 1 ? Font.Bold : Font.DemiBold
}
