import QtQuick
import QtQuick.Controls
import Kestrava

// A menu as wide as its widest item, so no entry is cut; each item shows its key on the right.
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
    delegate: MenuItem {
        id: entry
        leftPadding: 12
        rightPadding: 16
        contentItem: Item {
            implicitWidth: label.implicitWidth + (keys.text.length > 0 ? keys.implicitWidth + 32 : 0)
            implicitHeight: label.implicitHeight
            Text {
                id: label
                anchors.verticalCenter: parent.verticalCenter
                text: entry.text
                font: entry.font
                color: entry.palette.windowText
                opacity: entry.enabled ? 1 : 0.4
            }
            Text {
                id: keys
                anchors.right: parent.right
                anchors.verticalCenter: parent.verticalCenter
                text: entry.action ? Help.shortcutText(entry.action.shortcut) : ""
                font: entry.font
                color: entry.palette.windowText
                opacity: entry.enabled ? 0.6 : 0.3
            }
        }
    }
}
