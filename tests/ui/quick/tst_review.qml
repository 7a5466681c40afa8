import QtQuick
import QtTest
import Kestrava

Item {
    width: 1240
    height: 800

    Loader { id: loader; anchors.fill: parent; active: false; sourceComponent: ReviewScreen {} }

    property int alertsAnswered: 0
    AlertDialog { id: alert; onDismissed: alertsAnswered++ }

    TestCase {
        name: "Review"
        when: windowShown

        function initTestCase() {
            verify(Rig.loadShoot())
            Rig.configure("safeCopy")
            verify(Rig.startReview())
            loader.active = true
            Shell.mainContentShown()
            verify(Rig.waitForPreview(60000), "the first picture never reached the screen")
        }
        function cleanupTestCase() {
            Shell.mainContentHidden()
        }

        function decideWith(key) {
            verify(Rig.waitForPreview(60000))
            keyClick(key)
            verify(Rig.waitForSettled(60000))
        }

        function test_1_arrowKeysDecideAndLeftTakesBack() {
            compare(ViewModel.review.currentIndex, 0)
            decideWith(Qt.Key_Up)
            compare(ViewModel.review.decisionCounts[Decision.Keep], 1)
            compare(ViewModel.review.currentIndex, 1)
            decideWith(Qt.Key_Down)
            compare(ViewModel.review.decisionCounts[Decision.Delete], 1)
            decideWith(Qt.Key_Left)
            compare(ViewModel.review.decisionCounts[Decision.Delete], 0)
            compare(ViewModel.review.currentIndex, 1)
        }

        function test_2_previewAndNamesShowTheCurrentGroup() {
            verify(Rig.waitForPreview(60000))
            const stage = findChild(loader.item, "previewStage")
            verify(stage.imageRect.width > 0)
            compare(findChild(loader.item, "previewStatus").text, "")
            compare(findChild(loader.item, "currentFileName").text, ViewModel.review.currentGroup.fileName)
        }

        function test_3_zoomKeyLeavesDecisionsAlone() {
            const stage = findChild(loader.item, "previewStage")
            const index = ViewModel.review.currentIndex
            keyClick(Qt.Key_Z)
            compare(stage.zoomed, true)
            keyClick(Qt.Key_Z)
            compare(stage.zoomed, false)
            compare(ViewModel.review.currentIndex, index)
            mouseDoubleClickSequence(stage, stage.width / 2, stage.height / 2)
            compare(stage.zoomed, true)
            keyClick(Qt.Key_Z)
        }

        function test_4_dockButtonsDecideLikeTheKeys() {
            verify(Rig.waitForPreview(60000))
            const before = ViewModel.review.decisionCounts[Decision.Maybe]
            mouseClick(findChild(loader.item, "maybeButton"))
            verify(Rig.waitForSettled(60000))
            compare(ViewModel.review.decisionCounts[Decision.Maybe], before + 1)
            const label = findChild(loader.item, "maybeButton").Accessible.name
            verify(label === "Vielleicht" || label === "Vielleicht, ausgewählt")
        }

        function test_5_keysAreInactiveWhileTheAuditIsOpen() {
            verify(Rig.waitForPreview(60000))
            ViewModel.audit.setPresented(true)
            const index = ViewModel.review.currentIndex
            keyClick(Qt.Key_Up)
            // A decision would be under way at once: the key reaches the view model synchronously.
            compare(ViewModel.review.isCommittingDecision, false)
            compare(ViewModel.review.currentIndex, index)
            ViewModel.audit.setPresented(false)
        }

        function test_6_enterAnswersAnAlert() {
            alert.message = "Die Datei konnte nicht gelesen werden."
            tryCompare(alert, "opened", true)
            keyClick(Qt.Key_Return)
            tryCompare(alert, "visible", false)
            compare(alertsAnswered, 1)
            alert.message = ""
        }
    }
}
