import QtQuick
import QtTest
import Kestrava

Item {
    id: root
    width: 1240
    height: 800

    Loader { id: loader; anchors.fill: parent; active: false; sourceComponent: ReviewScreen {} }

    property int alertsAnswered: 0
    Component { id: alertComponent; AlertDialog { onDismissed: root.alertsAnswered++ } }

    TestCase {
        name: "Review"
        when: windowShown

        function init() {
            Rig.renew()
            verify(Rig.loadShoot())
            Rig.configure("safeCopy")
            verify(Rig.startReview())
            loader.active = true
            Shell.mainContentShown()
            verify(Rig.waitForPreview(60000), "the first picture never reached the screen")
        }
        function cleanup() {
            loader.active = false
        }

        function decideWith(key) {
            verify(Rig.waitForPreview(60000))
            keyClick(key)
            verify(Rig.waitForSettled(60000))
        }

        function test_arrowKeysDecideAndLeftTakesBack() {
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

        function test_previewAndNamesShowTheCurrentGroup() {
            const stage = findChild(loader.item, "previewStage")
            verify(stage.imageRect.width > 0)
            compare(findChild(loader.item, "previewStatus").text, "")
            compare(findChild(loader.item, "currentFileName").text, ViewModel.review.currentGroup.fileName)
        }

        function test_zoomKeyLeavesDecisionsAlone() {
            const stage = findChild(loader.item, "previewStage")
            keyClick(Qt.Key_Z)
            compare(stage.zoomed, true)
            keyClick(Qt.Key_Z)
            compare(stage.zoomed, false)
            compare(ViewModel.review.currentIndex, 0)
            compare(ViewModel.review.classifiedCount, 0)
            mouseDoubleClickSequence(stage, stage.width / 2, stage.height / 2)
            compare(stage.zoomed, true)
        }

        function test_dockButtonsDecideLikeTheKeys() {
            mouseClick(findChild(loader.item, "maybeButton"))
            verify(Rig.waitForSettled(60000))
            compare(ViewModel.review.decisionCounts[Decision.Maybe], 1)
            compare(ViewModel.review.currentIndex, 1)
        }

        function test_keysAreInactiveWhileTheAuditIsOpen() {
            ViewModel.audit.setPresented(true)
            keyClick(Qt.Key_Up)
            // A decision would be under way at once: the key reaches the view model synchronously.
            compare(ViewModel.review.isCommittingDecision, false)
            compare(ViewModel.review.currentIndex, 0)
            ViewModel.audit.setPresented(false)
        }

        function test_aShotNoPictureCanShowIsDecidedWithTheKeys() {
            const last = ViewModel.review.reviewGroupCount - 1
            ViewModel.review.showGroupInMainReview(Rig.damageGroup(last))
            compare(ViewModel.review.currentIndex, last)
            tryCompare(findChild(loader.item, "previewStatus"), "text", "Keine Vorschau verfügbar", 60000)
            decideWith(Qt.Key_Down)
            compare(ViewModel.review.decisionCounts[Decision.Delete], 1)
        }

        function test_enterAnswersAnAlert() {
            root.alertsAnswered = 0
            const alert = createTemporaryObject(alertComponent, root)
            alert.message = "Die Datei konnte nicht gelesen werden."
            tryCompare(alert, "opened", true)
            keyClick(Qt.Key_Return)
            tryCompare(alert, "visible", false)
            compare(alertsAnswered, 1)
        }
    }
}
