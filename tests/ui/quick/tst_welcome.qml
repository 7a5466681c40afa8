import QtQuick
import QtTest
import Kestrava

Item {
    width: 1240
    height: 800

    WelcomeScreen { id: screen; anchors.fill: parent }

    TestCase {
        name: "Welcome"
        when: windowShown

        function test_noResumeCardWithoutASavedSession() {
            compare(ViewModel.route, AppRoute.Welcome)
            compare(ViewModel.session.showResumeChoice, false)
            compare(findChild(screen, "resumeSessionCard").visible, false)
            verify(findChild(screen, "chooseSourceButton").enabled)
        }
    }
}
