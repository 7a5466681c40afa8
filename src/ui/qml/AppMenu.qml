import QtQuick
import QtQuick.Controls
import Kestrava

// A menu as wide as its widest item, so no entry is cut.
Menu {
    id: menu
    onOpened: Shell.overlayOpened()
    onClosed: Shell.overlayClosed()
    width: {
        let widest = 0
        for (let i = 0; i < count; ++i) {
            const item = itemAt(i)
            if (item)
                widest = Math.max(widest, item.implicitWidth)
        }
        return Math.max(200, widest + leftPadding + rightPadding)
    }
}
