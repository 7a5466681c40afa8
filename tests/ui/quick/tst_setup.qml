import QtQuick
import QtTest
import Kestrava

Item {
    width: 1240
    height: 800

    SetupScreen { id: screen; anchors.fill: parent }

    TestCase {
        name: "Setup"
        when: windowShown

        function init() {
            if (ViewModel.route !== AppRoute.Setup)
                verify(Rig.loadShoot())
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

        function test_destinationAndStorageLines() {
            ViewModel.setDestinationBaseFolder("")
            compare(findChild(screen, "destinationBaseText").text, "Noch nicht gewählt")
            compare(findChild(screen, "storageCheckText").text, "Speicherprüfung steht aus")
            ViewModel.setDestinationBaseFolder(Rig.destinationBase())
            compare(findChild(screen, "destinationBaseText").text, Rig.destinationBase())
        }

        function test_advancedOptionsToggle() {
            const toggle = findChild(screen, "advancedToggle")
            const before = ViewModel.setup.advancedOptionsVisible
            toggle.clicked()
            compare(ViewModel.setup.advancedOptionsVisible, !before)
            toggle.clicked()
            compare(ViewModel.setup.advancedOptionsVisible, before)
        }

        function test_verificationChoiceNamesItsModeAndReachesTheSetup() {
            ViewModel.setup.advancedOptionsVisible = true
            ViewModel.setup.updateVerificationMode(Verification.FileSize)
            const sha = findChild(screen, "verification_sha256")
            verify(sha)
            verify(sha.text.length > 0)
            compare(sha.checked, false)
            sha.clicked()
            compare(ViewModel.setup.verificationMode, Verification.Sha256)
            compare(sha.checked, true)
            compare(findChild(screen, "verification_fileSize").checked, false)
            ViewModel.setup.updateVerificationMode(Verification.FileSize)
        }

        function test_ratingSwitchAndStarsReachTheSetup() {
            ViewModel.setup.advancedOptionsVisible = true
            ViewModel.setup.updateRatingSidecars(false, 1)
            const box = findChild(screen, "ratingSidecarsBox")
            verify(box)
            compare(box.text, ViewModel.setup.ratingSidecarsLabel)
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
