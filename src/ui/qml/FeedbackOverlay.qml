import QtQuick
import Kestrava

// The short confirmation after a decision; its timing belongs to the view model (shown,
// exiting, gone), the overlay only follows it.
Rectangle {
    id: overlay
    readonly property bool present: ViewModel.review.decisionFeedback.id.length > 0
    visible: present || opacity > 0
    opacity: present && !ViewModel.review.feedbackIsExiting ? 1 : 0
    scale: present && !ViewModel.review.feedbackIsExiting ? 1 : 0.96
    Behavior on opacity { enabled: !Shell.reducedMotion; NumberAnimation { duration: 160 } }
    Behavior on scale { enabled: !Shell.reducedMotion; NumberAnimation { duration: 160 } }
    radius: 22
    color: Qt.rgba(0.08, 0.09, 0.1, 0.88)
    border.color: DesignSystem.decisionColor(ViewModel.review.decisionFeedback.decision)
    border.width: 2
    implicitWidth: label.implicitWidth + 40
    implicitHeight: 44
    Heading {
        id: label
        objectName: "feedbackTitle"
        anchors.centerIn: parent
        text: ViewModel.review.decisionFeedback.title
    }
}
