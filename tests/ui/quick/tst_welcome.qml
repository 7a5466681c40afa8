import QtQuick
import QtTest
import Kestrava

Item {
    width: 1240
    height: 800

    Loader { id: loader; anchors.fill: parent; active: false; sourceComponent: WelcomeScreen {} }

    TestCase {
        name: "Welcome"
        when: windowShown
        readonly property Item screen: loader.item

        function init() {
            Rig.renew()
            loader.active = true
        }
        function cleanup() {
            loader.active = false
        }

        function test_noResumeCardWithoutASavedSession() {
            compare(ViewModel.route, AppRoute.Welcome)
            compare(ViewModel.session.showResumeChoice, false)
            compare(findChild(screen, "resumeSessionCard").visible, false)
            verify(findChild(screen, "chooseSourceButton").enabled)
        }
    }
}
