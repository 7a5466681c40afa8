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

        function initTestCase() {
            verify(Rig.loadShoot())
            Rig.configure("safeCopy")
            verify(Rig.startReview())
            verify(Rig.decideAll("delete"))
            ViewModel.review.beginCompletionFlow()
            tryCompare(ViewModel, "route", AppRoute.Confirmation, 60000)
            confirmation.active = true
        }

        function test_1_executeFollowsCanExecute() {
            const execute = findChild(confirmation.item, "executeButton")
            compare(execute.text, "Sortierung ausführen")
            compare(execute.enabled, ViewModel.execution.canExecute && !ViewModel.execution.isApplying)
        }

        function test_2_trashModeStagesFirst() {
            ViewModel.selectOperationMode(OperationMode.OrganizeAndTrash)
            const execute = findChild(confirmation.item, "executeButton")
            compare(execute.text, "Sicherheitsablage vorbereiten")
            verify(findChild(confirmation.item, "destructiveConfirmation").visible)
            ViewModel.selectOperationMode(OperationMode.SafeCopy)
            verify(!findChild(confirmation.item, "destructiveConfirmation").visible)
        }

        function test_3_backToReview() {
            mouseClick(findChild(confirmation.item, "returnToReviewButton"))
            compare(ViewModel.route, AppRoute.Reviewing)
        }

        function test_4_trashCommitStaysLockedUntilEverythingIsReady() {
            trash.active = true
            const commit = findChild(trash.item, "commitTrashButton")
            const box = findChild(trash.item, "trashCommitConfirmation")
            compare(commit.text, "Jetzt in den Papierkorb")
            compare(commit.enabled, false)
            mouseClick(box)
            compare(ViewModel.trashCommitConfirmationAccepted, true)
            // Ticking alone is not enough: the view model also wants every copy staged.
            compare(commit.enabled, ViewModel.trash.canCommitTrash === true)
            mouseClick(box)
            compare(ViewModel.trashCommitConfirmationAccepted, false)
            compare(commit.enabled, false)
        }
    }
}
