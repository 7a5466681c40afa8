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

        function initTestCase() {
            verify(Rig.loadShoot())
            Rig.configure("safeCopy")
            verify(Rig.startReview())
            Shell.mainContentShown()
            root.audit = auditComponent.createObject(null)
            root.audit.show()
            root.audit.requestActivate()
            tryCompare(root.audit, "visible", true, 60000)
        }
        function cleanupTestCase() {
            root.audit.close()
            Shell.mainContentHidden()
        }

        function test_1_openingMarksThePresentationAndBlocksReviewKeys() {
            tryCompare(ViewModel.audit, "presented", true, 60000)
            compare(ViewModel.review.acceptsReviewShortcuts, false)
            const list = findChild(root.audit.contentItem, "auditList")
            compare(list.count, 6)
            list.forceActiveFocus()
            list.currentIndex = 0
            Rig.pressIn(root.audit, Qt.Key_Down)
            compare(list.currentIndex, 1, "arrow keys move through the list")
            compare(ViewModel.review.classifiedCount, 0, "and decide nothing")
        }

        function test_2_numberKeysDecideTheSelectedRow() {
            const list = findChild(root.audit.contentItem, "auditList")
            list.forceActiveFocus()
            list.currentIndex = 2
            Rig.pressIn(root.audit, Qt.Key_3)
            verify(Rig.waitForSettled(60000))
            compare(ViewModel.review.decisionCounts[Decision.Delete], 1)
            compare(list.currentItem.decision, Decision.Delete)
        }

        function test_3_filterWithoutMatchesShowsTheEmptyState() {
            const list = findChild(root.audit.contentItem, "auditList")
            const maybe = findChild(root.audit.contentItem, "filter_maybe")
            mouseClick(maybe)
            compare(list.count, 0)
            verify(findChild(root.audit.contentItem, "auditEmptyTitle").visible)
            mouseClick(maybe)
            verify(maybe.selected, "a second click keeps the chosen filter marked")
            compare(list.count, 0)
            mouseClick(findChild(root.audit.contentItem, "filter_all"))
            compare(list.count, 6)
            verify(!findChild(root.audit.contentItem, "auditEmptyTitle").visible)
        }

        function test_4_searchNarrowsTheList() {
            const list = findChild(root.audit.contentItem, "auditList")
            const search = findChild(root.audit.contentItem, "auditSearch")
            const name = list.itemAtIndex(4).fileName
            search.text = name.toLowerCase()
            compare(list.count, 1)
            search.text = ""
            compare(list.count, 6)
        }

        function test_4b_openFilterShowsTheUndecidedShots() {
            const list = findChild(root.audit.contentItem, "auditList")
            const open = findChild(root.audit.contentItem, "filter_open")
            mouseClick(open)
            compare(list.count, 5, "the one rejected shot is left out")
            list.forceActiveFocus()
            list.currentIndex = 0
            Rig.pressIn(root.audit, Qt.Key_1)
            verify(Rig.waitForSettled(60000))
            compare(list.count, 4, "a shot decided here leaves the list")
            mouseClick(findChild(root.audit.contentItem, "filter_all"))
            compare(list.count, 6)
        }

        function test_5_headerCountsFollowChanges() {
            compare(findChild(root.audit.contentItem, "auditSummary").text, "6 Motive · 12 Dateien")
            verify(Rig.decideAll("keep"))
            compare(ViewModel.review.decisionCounts[Decision.Keep], 6)
            verify(findChild(root.audit.contentItem, "confirmSelectionButton").enabled)
        }

        function test_6_escapeAndCloseKeysCloseTheWindow() {
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
