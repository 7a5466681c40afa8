import QtQuick
import QtTest
import Kestrava

Item {
    width: 1240
    height: 800

    Loader { id: loader; anchors.fill: parent; active: false; sourceComponent: SetupScreen {} }

    TestCase {
        name: "Setup"
        when: windowShown
        readonly property Item screen: loader.item

        function init() {
            Rig.renew()
            verify(Rig.loadShoot())
            loader.active = true
        }
        function cleanup() {
            loader.active = false
        }

        function test_startButtonWaitsForEveryChoice() {
            const start = findChild(screen, "startReviewButton")
            verify(start)
            ViewModel.updateRunFolderName("")
            compare(start.enabled, false)
            ViewModel.loading.chooseFormatReview(ReviewChoice.Both)
            ViewModel.selectOperationMode(OperationMode.SafeCopy)
            compare(start.enabled, false, "no destination yet")
            ViewModel.setDestinationBaseFolder(Rig.destinationBase())
            compare(findChild(screen, "destinationBaseText").text, Rig.destinationBase())
            compare(start.enabled, false, "no result folder name yet")
            ViewModel.updateRunFolderName("Lauf 1")
            compare(start.enabled, true)
            ViewModel.updateRunFolderName("")
            compare(start.enabled, false)
        }

        function test_cardsShowTheChoiceAndTheClickReachesTheViewModel() {
            const move = findChild(screen, "mode_moveOriginals")
            mouseClick(move)
            compare(ViewModel.selectedOperationMode, OperationMode.MoveOriginals)
            compare(move.selected, true)
            compare(findChild(screen, "mode_safeCopy").selected, false)
            // Every shot has a RAW: all three views are possible.
            verify(findChild(screen, "reviewChoice_both").enabled)
            verify(findChild(screen, "reviewChoice_raw").enabled)
        }

        function test_typingTheFolderNameUpdatesTheViewModel() {
            const field = findChild(screen, "runFolderNameField")
            field.text = ""
            field.forceActiveFocus()
            keyClick(Qt.Key_A)
            keyClick(Qt.Key_B)
            compare(ViewModel.runFolderName, "ab")
            compare(field.placeholderText, "Kestrava – 2026-07-18 14-30")
        }

        function test_advancedOptionsOpenByKeyAndTheVerificationChoiceReachesTheSetup() {
            const toggle = findChild(screen, "advancedToggle")
            const sha = findChild(screen, "verification_sha256")
            compare(sha.visible, false)
            // Below the fold at this height: the keyboard reaches it without scrolling first.
            toggle.forceActiveFocus()
            keyClick(Qt.Key_Space)
            compare(ViewModel.setup.advancedOptionsVisible, true)
            tryCompare(sha, "visible", true)
            ViewModel.setup.updateVerificationMode(Verification.FileSize)
            compare(sha.checked, false)
            sha.clicked()
            compare(ViewModel.setup.verificationMode, Verification.Sha256)
            compare(sha.checked, true)
            compare(findChild(screen, "verification_fileSize").checked, false)
            toggle.forceActiveFocus()
            keyClick(Qt.Key_Space)
            compare(ViewModel.setup.advancedOptionsVisible, false)
        }

        function test_ratingSwitchAndStarsReachTheSetup() {
            ViewModel.setup.advancedOptionsVisible = true
            ViewModel.setup.updateRatingSidecars(false, 1)
            const box = findChild(screen, "ratingSidecarsBox")
            verify(box)
            const four = findChild(screen, "keepStars4")
            verify(four)
            compare(four.visible, false, "stars only matter when sidecars are written")
            box.toggle()
            box.toggled()
            compare(ViewModel.setup.writeRatingSidecars, true)
            tryCompare(four, "visible", true)
            four.clicked()
            compare(ViewModel.setup.keepRatingStars, 4)
            compare(findChild(screen, "keepStars1").checked, false)
            box.toggle()
            box.toggled()
            compare(ViewModel.setup.writeRatingSidecars, false)
            compare(ViewModel.setup.keepRatingStars, 4)
        }
    }
}
