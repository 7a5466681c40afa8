import QtQuick
import QtTest
import Kestrava

// The compare view on the review screen, driven by its keys: C opens it, a decision reaches
// the candidate and the next open frame follows, ← takes that decision back, F makes the
// candidate the reference, Esc closes.
Item {
    width: 1400
    height: 860

    Loader { id: loader; anchors.fill: parent; active: false; sourceComponent: ReviewScreen {} }
    AlertDialog {}

    TestCase {
        name: "Compare"
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
            Shell.mainContentHidden()
            loader.active = false
        }

        function paneShowsAPicture(name) {
            const pane = findChild(loader.item, name)
            return pane !== null && pane.visible && pane.imageRect.width > 0
        }

        function test_comparingDecidesTheCandidateAndClosesWithEscape() {
            const current = ViewModel.review.currentIndex

            keyClick(Qt.Key_C)
            verify(ViewModel.compare.active)
            compare(ViewModel.compare.referenceIndex, current)
            compare(ViewModel.compare.candidateIndex, current + 1)
            tryVerify(function() { return paneShowsAPicture("compareReference") }, 60000, "no reference picture")
            tryVerify(function() { return paneShowsAPicture("compareCandidate") }, 60000, "no candidate picture")
            // The top line and the captions name the candidate, the frame the keys decide.
            compare(findChild(loader.item, "currentFileName").text, ViewModel.compare.candidateFileName)
            compare(findChild(loader.item, "positionText").text, (current + 2) + " / " + ViewModel.review.reviewGroupCount)
            verify(findChild(loader.item, "candidateCaption").text.indexOf(ViewModel.compare.candidateCaption) === 0)
            verify(findChild(loader.item, "referenceCaption").text.indexOf("Favorit: ") === 0)
            compare(findChild(loader.item, "inspectorDetails").path, ViewModel.compare.candidatePath)

            tryVerify(function() { return ViewModel.compare.candidateShown }, 60000)
            const decided = ViewModel.compare.candidateIndex
            const keptBefore = ViewModel.review.decisionCounts[Decision.Keep]
            keyClick(Qt.Key_Up)
            verify(Rig.waitForSettled(60000))
            compare(ViewModel.review.decisionCounts[Decision.Keep], keptBefore + 1)
            compare(ViewModel.compare.candidateIndex, decided + 1)
            compare(ViewModel.review.currentIndex, current, "the single view stays where it was")
            tryVerify(function() { return paneShowsAPicture("compareCandidate") }, 60000)

            keyClick(Qt.Key_Left)
            verify(Rig.waitForSettled(60000))
            compare(ViewModel.review.decisionCounts[Decision.Keep], keptBefore)
            compare(ViewModel.compare.candidateIndex, decided)
            compare(ViewModel.review.currentIndex, current)

            keyClick(Qt.Key_F)
            compare(ViewModel.compare.referenceIndex, decided)
            compare(ViewModel.compare.candidateIndex, decided + 1)

            keyClick(Qt.Key_Escape)
            verify(!ViewModel.compare.active)
            verify(!paneShowsAPicture("compareCandidate"))
            compare(findChild(loader.item, "currentFileName").text, ViewModel.review.currentGroup.fileName)
        }
    }
}
