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
        }
        // Every shot decided the same way, then the confirmation on screen.
        function openConfirmation(mode, review, decision) {
            verify(Rig.loadShoot())
            Rig.configure(mode)
            ViewModel.loading.chooseFormatReview(review)
            verify(Rig.startReview())
            verify(Rig.decideAll(decision))
            ViewModel.review.beginCompletionFlow()
            tryCompare(ViewModel, "route", AppRoute.Confirmation, 60000)
            confirmation.active = true
        }
        function cleanup() {
            confirmation.active = false
            trash.active = false
        }

        function test_trashModeStagesFirst() {
            openConfirmation("safeCopy", ReviewChoice.Both, "delete")
            const execute = findChild(confirmation.item, "executeButton")
            compare(execute.text, "Sortierung ausführen")
            ViewModel.selectOperationMode(OperationMode.OrganizeAndTrash)
            compare(execute.text, "Sicherheitsablage vorbereiten")
            verify(findChild(confirmation.item, "destructiveConfirmation").visible)
            ViewModel.selectOperationMode(OperationMode.SafeCopy)
            compare(execute.text, "Sortierung ausführen")
            verify(!findChild(confirmation.item, "destructiveConfirmation").visible)
        }

        function test_backToReview() {
            openConfirmation("safeCopy", ReviewChoice.Both, "delete")
            mouseClick(findChild(confirmation.item, "returnToReviewButton"))
            compare(ViewModel.route, AppRoute.Reviewing)
        }

        function test_enterActivatesTheFocusedButton() {
            openConfirmation("safeCopy", ReviewChoice.Both, "delete")
            const back = findChild(confirmation.item, "returnToReviewButton")
            // The window may take a moment to become active under load; only then is the focus
            // the button's and the key its.
            tryVerify(function() { back.forceActiveFocus(); return back.activeFocus }, 5000, "the button never got the focus")
            keyClick(Qt.Key_Return)
            tryCompare(ViewModel, "route", AppRoute.Reviewing, 5000)
        }

        // Reviewing the JPEGs alone, the RAWs move too: the confirmation counts and names them.
        function test_scopeNamesTheFilesCarriedWithoutAReview() {
            openConfirmation("moveOriginals", ReviewChoice.Jpeg, "keep")
            const lines = findChild(confirmation.item, "runScopeLines")
            let shown = []
            for (let i = 0; i < lines.count; ++i)
                shown.push(lines.itemAt(i).text)
            verify(shown[0].indexOf("6 JPEG") >= 0, shown[0])
            verify(shown.some(line => line.indexOf("6 RAW") >= 0), shown.join(" | "))
            compare(ViewModel.execution.runScopeText, "6 Motive · 12 Dateien")
        }

        function test_trashCommitStaysLockedUntilEverythingIsReady() {
            openConfirmation("safeCopy", ReviewChoice.Both, "delete")
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
