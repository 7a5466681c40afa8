import QtQuick
import QtTest
import Kestrava

Item {
    width: 1240
    height: 800

    Loader { id: confirmation; anchors.fill: parent; active: false; sourceComponent: ConfirmationScreen {} }
    Loader { id: trash; anchors.fill: parent; active: false; sourceComponent: TrashConfirmationScreen {} }

    TestCase {
        name: "Confirmation"
        when: windowShown

        function init() {
            Rig.renew()
            verify(Rig.loadShoot())
            Rig.configure("safeCopy")
            verify(Rig.startReview())
            verify(Rig.decideAll("delete"))
            ViewModel.review.beginCompletionFlow()
            tryCompare(ViewModel, "route", AppRoute.Confirmation, 60000)
            confirmation.active = true
        }
        function cleanup() {
            confirmation.active = false
            trash.active = false
        }

        function test_trashModeStagesFirst() {
            const execute = findChild(confirmation.item, "executeButton")
            compare(execute.text, "Sortierung ausführen")
            ViewModel.selectOperationMode("organizeAndTrash")
            compare(execute.text, "Sicherheitsablage vorbereiten")
            verify(findChild(confirmation.item, "destructiveConfirmation").visible)
            ViewModel.selectOperationMode("safeCopy")
            compare(execute.text, "Sortierung ausführen")
            verify(!findChild(confirmation.item, "destructiveConfirmation").visible)
        }

        function test_backToReview() {
            mouseClick(findChild(confirmation.item, "returnToReviewButton"))
            compare(ViewModel.route, AppRoute.Reviewing)
        }

        function test_trashCommitStaysLockedUntilEverythingIsReady() {
            trash.active = true
            const commit = findChild(trash.item, "commitTrashButton")
            const box = findChild(trash.item, "trashCommitConfirmation")
            compare(commit.enabled, false)
            mouseClick(box)
            compare(ViewModel.trashCommitConfirmationAccepted, true)
            // Ticking alone is not enough: nothing is staged yet.
            compare(commit.enabled, false)
            mouseClick(box)
            compare(ViewModel.trashCommitConfirmationAccepted, false)
            compare(commit.enabled, false)
        }
    }
}
