import QtQuick
import QtQuick.Controls
import Kestrava

// The dark stage with the photo, its loading state, the input guard and the feedback.
Rectangle {
    id: panel
    property ReviewPreviewController controller
    function toggleZoom() { stageItem.toggleZoomAtPointer() }
    color: DesignSystem.stage
    clip: true

    PreviewStageItem {
        id: stageItem
        objectName: "previewStage"
        anchors.fill: parent
        anchors.margins: zoomed ? 0 : DesignSystem.spacingL
        Accessible.role: Accessible.Graphic
        Accessible.name: ViewModel.review.currentGroup.fileName
    }

    // The picture, or the camera's thumbnail standing in for it: the stage keeps a zoom asked
    // for over the thumbnail for the picture. With the picture its copy at the fitted size.
    function showCurrent() {
        if (panel.controller)
            stageItem.showPicture(panel.controller.image, panel.controller.showsThumbnail,
                                  panel.controller.fittedImage)
    }
    onControllerChanged: showCurrent()
    Component.onCompleted: showCurrent()
    Connections {
        target: panel.controller
        function onImageChanged() { panel.showCurrent() }
        function onFittedImageChanged() { panel.showCurrent() }
    }
    // The loader makes the copies the fitted stage draws for the box the stage has.
    Binding {
        target: panel.controller
        property: "fitBox"
        value: stageItem.fitBox
        when: panel.controller !== null
    }

    Binding {
        target: stageItem
        property: "overlay"
        value: panel.controller ? panel.controller.peakingImage : null
        when: panel.controller !== null
    }

    // Over the thumbnail as well as over the empty stage: on a backdrop, it reads on any picture.
    Rectangle {
        anchors.centerIn: parent
        visible: statusText.text.length > 0
        radius: 18
        color: Qt.rgba(0, 0, 0, 0.65)
        implicitWidth: statusText.implicitWidth + 40
        implicitHeight: statusText.implicitHeight + 20
        Lead {
            id: statusText
            objectName: "previewStatus"
            anchors.centerIn: parent
            text: panel.controller ? panel.controller.statusText : ""
            color: DesignSystem.textPrimary
        }
    }

    // Why a key press does nothing right now.
    Rectangle {
        readonly property string guard: ViewModel.review.inputGuardText
        anchors.top: parent.top
        anchors.horizontalCenter: parent.horizontalCenter
        anchors.topMargin: DesignSystem.spacingM
        visible: guard.length > 0
        radius: 14
        color: Qt.rgba(0, 0, 0, 0.6)
        implicitWidth: guardText.implicitWidth + 24
        implicitHeight: 28
        Caption {
            id: guardText
            objectName: "inputGuardText"
            anchors.centerIn: parent
            text: parent.guard
            color: DesignSystem.textPrimary
        }
    }

    Rectangle {
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        anchors.margins: DesignSystem.spacingM
        visible: stageItem.zoomed
        radius: 12
        color: Qt.rgba(0, 0, 0, 0.6)
        implicitWidth: zoomText.implicitWidth + 20
        implicitHeight: 24
        Caption {
            id: zoomText
            anchors.centerIn: parent
            text: "100 % · Z zum Einpassen"
            color: DesignSystem.textPrimary
        }
    }

    FeedbackOverlay {
        anchors.horizontalCenter: parent.horizontalCenter
        anchors.bottom: parent.bottom
        anchors.bottomMargin: DesignSystem.spacingXL
    }
}
