import QtQuick
import QtTest
import Kestrava

// A short window over the setup screen with its advanced options open: tabbing through it
// reaches controls far below the fold, and each must come into view as it takes the focus.
Item {
    id: root
    width: 1024
    height: 380

    Loader { id: loader; anchors.fill: parent; active: false; sourceComponent: SetupScreen {} }

    TestCase {
        name: "FocusScroll"
        when: windowShown
        readonly property Item screen: loader.item

        function init() {
            Rig.renew()
            verify(Rig.loadShoot())
            loader.active = true
            ViewModel.setup.advancedOptionsVisible = true
            waitForRendering(screen)
        }
        function cleanup() {
            loader.active = false
        }

        function scrollArea(item) {
            for (let p = item ? item.parent : null; p; p = p.parent)
                if (p.hasOwnProperty("contentY") && p.hasOwnProperty("flicking"))
                    return p
            return null
        }

        function test_tabKeepsTheFocusedControlInView() {
            findChild(screen, "advancedToggle").forceActiveFocus()
            let deepest = 0
            for (let i = 0; i < 40; ++i) {
                keyClick(Qt.Key_Tab)
                const item = root.Window.activeFocusItem
                const area = scrollArea(item)
                if (!area)
                    continue
                const box = item.mapToItem(area, 0, 0, item.width, item.height)
                verify(box.y >= -1 && box.y + box.height <= area.height + 1,
                       "focused " + item + " lies outside the visible part (" + box.y + ", " + area.height + ")")
                deepest = Math.max(deepest, area.contentY)
            }
            verify(deepest > 0, "the screen is long enough that Tab had to scroll")
        }
    }
}
