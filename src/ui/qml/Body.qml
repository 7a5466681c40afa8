import QtQuick
import Kestrava

// Running text; secondary by default, primary where it carries the value itself.
Text {
    color: DesignSystem.textSecondary
    font.pixelSize: DesignSystem.fontBody
}
