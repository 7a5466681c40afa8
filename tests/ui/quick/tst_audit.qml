import QtQuick
import QtTest
import Kestrava

Item {
    id: root
    width: 200
    height: 200
    property var audit: null

    Component { id: auditComponent; AuditWindow {} }

    TestCase {
        name: "Audit"
        when: windowShown

        function init() {
            Rig.renew()
            verify(Rig.loadShoot())
            Rig.configure("safeCopy")
            verify(Rig.startReview())
            Shell.mainContentShown()
            root.audit = createTemporaryObject(auditComponent, null)
            root.audit.show()
            root.audit.requestActivate()
            tryCompare(root.audit, "visible", true, 60000)
            tryCompare(root.audit, "active", true)
        }
        function cleanup() {
            root.audit.close()
            root.audit = null
        }

        function auditItem(name) {
            return findChild(root.audit.contentItem, name)
        }
        function listAt(index) {
            const list = auditItem("auditList")
            list.forceActiveFocus()
            list.currentIndex = index
            return list
        }

        function test_openingMarksThePresentationAndBlocksReviewKeys() {
            tryCompare(ViewModel.audit, "presented", true, 60000)
            compare(ViewModel.review.acceptsReviewShortcuts, false)
            const list = listAt(0)
            compare(list.count, 6)
            Rig.pressIn(root.audit, Qt.Key_Down)
            compare(list.currentIndex, 1, "arrow keys move through the list")
            compare(ViewModel.review.classifiedCount, 0, "and decide nothing")
        }

        function test_filterWithoutMatchesShowsTheEmptyState() {
            const list = auditItem("auditList")
            const maybe = auditItem("filter_maybe")
            mouseClick(maybe)
            compare(list.count, 0)
            verify(auditItem("auditEmptyTitle").visible)
            mouseClick(maybe)
            verify(maybe.selected, "a second click keeps the chosen filter marked")
            compare(list.count, 0)
            mouseClick(auditItem("filter_all"))
            compare(list.count, 6)
            verify(!auditItem("auditEmptyTitle").visible)
        }

        function test_numberKeysDecideTheSelectedRowAndTheOpenFilterLeavesItOut() {
            const row = listAt(2)
            Rig.pressIn(root.audit, Qt.Key_3)
            verify(Rig.waitForSettled(60000))
            compare(ViewModel.review.decisionCounts[Decision.Delete], 1)
            compare(row.currentItem.decision, Decision.Delete)
            mouseClick(auditItem("filter_delete"))
            compare(listAt(0).count, 1, "the rejected shot alone")
            mouseClick(auditItem("filter_open"))
            const list = listAt(0)
            compare(list.count, 5, "the rejected shot is left out")
            Rig.pressIn(root.audit, Qt.Key_1)
            verify(Rig.waitForSettled(60000))
            compare(list.count, 4, "a shot decided here leaves the list")
            mouseClick(auditItem("filter_all"))
            compare(list.count, 6)
        }

        function test_escapeAndCloseKeysCloseTheWindow() {
            Rig.pressIn(root.audit, Qt.Key_Escape)
            tryCompare(root.audit, "visible", false)
            tryCompare(ViewModel.audit, "presented", false)
            root.audit.show()
            tryCompare(root.audit, "visible", true)
            Rig.pressIn(root.audit, Qt.Key_W, Qt.ControlModifier)
            tryCompare(root.audit, "visible", false)
        }
    }
}
