import QtQuick
import Kestrava

// The sentence under a screen's title: heading-sized, in the regular weight.
Text {
    color: DesignSystem.textSecondary
    font.pixelSize: DesignSystem.fontHeading
}
