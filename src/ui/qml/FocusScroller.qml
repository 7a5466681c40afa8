import QtQuick
import Kestrava

// Keeps the control with the keyboard focus inside the visible part of a scrolling area: a
// person tabbing through a long screen sees where the focus went. One line per screen:
// `FocusScroller { flickable: scroll.contentItem }` (a ScrollView's content item is its
// Flickable), or the ListView itself.
Item {
    id: scroller
    property Flickable flickable
    // Room left above and below the control, so its frame and label show too.
    property real margin: DesignSystem.spacingM
    visible: false

    readonly property Item focused: Window.activeFocusItem
    onFocusedChanged: reveal(focused)

    function inside(item) {
        for (let p = item ? item.parent : null; p; p = p.parent)
            if (p === flickable.contentItem)
                return true
        return false
    }

    function reveal(item) {
        if (!flickable || !inside(item))
            return
        const area = item.mapToItem(flickable.contentItem, 0, 0, item.width, item.height)
        const top = flickable.originY
        const bottom = Math.max(top, flickable.originY + flickable.contentHeight - flickable.height)
        let y = flickable.contentY
        if (area.y + area.height + margin > y + flickable.height)
            y = area.y + area.height + margin - flickable.height
        if (area.y - margin < y)
            y = area.y - margin
        flickable.contentY = Math.max(top, Math.min(bottom, y))
    }
}
