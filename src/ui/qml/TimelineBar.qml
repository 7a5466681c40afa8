import QtQuick
import Kestrava

// Every group as a coloured segment, the current one marked by the thumb; a click jumps there.
Rectangle {
    implicitHeight: 34
    color: DesignSystem.surface
    DecisionTimelineItem {
        id: timeline
        objectName: "decisionTimeline"
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        anchors.leftMargin: DesignSystem.spacingL
        anchors.rightMargin: DesignSystem.spacingL
        height: 8
        viewModel: ViewModel
        keepColor: DesignSystem.keep
        maybeColor: DesignSystem.maybe
        deleteColor: DesignSystem.reject
        openColor: DesignSystem.open
        seriesColor: DesignSystem.accent
    }
    Rectangle {
        width: timeline.thumbDiameter
        height: timeline.thumbDiameter
        radius: width / 2
        visible: timeline.count > 0
        x: timeline.x + timeline.thumbX - width / 2
        anchors.verticalCenter: timeline.verticalCenter
        color: DesignSystem.textPrimary
        border.color: DesignSystem.stage
        border.width: 2
    }
    MouseArea {
        anchors.fill: timeline
        anchors.topMargin: -10
        anchors.bottomMargin: -10
        onClicked: (mouse) => {
            const id = timeline.groupIdAt(timeline.indexAt(mouse.x))
            if (id.length > 0)
                ViewModel.review.showGroupInMainReview(id)
        }
    }
}
