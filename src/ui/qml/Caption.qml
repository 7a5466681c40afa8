import QtQuick
import Kestrava

// A label above a value, a hint or a note: the smallest text of the window.
Text {
    color: DesignSystem.textMuted
    font.pixelSize: DesignSystem.fontCaption
}
