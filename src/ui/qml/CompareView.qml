import QtQuick
import Kestrava

// Reference left, candidate right, over the stage while the compare view is open. Which
// groups, and what the keys do, is decided by ViewModel.compare.
Rectangle {
    id: view
    color: DesignSystem.stage
    function toggleZoom() { leftPane.toggleZoomAtPointer(); rightPane.toggleZoomAtPointer() }

    ComparePreviewController {
        id: pictures
        viewModel: ViewModel
    }

    Row {
        anchors.fill: parent
        spacing: 2
        Repeater {
            model: 2
            Item {
                required property int index
                width: (view.width - 2) / 2
                height: view.height
                PreviewStageItem {
                    id: pane
                    objectName: index === 0 ? "compareReference" : "compareCandidate"
                    anchors.fill: parent
                    anchors.margins: zoomed ? 0 : DesignSystem.spacingM
                    image: index === 0 ? pictures.referenceImage : pictures.candidateImage
                    overlay: index === 0 ? pictures.referencePeaking : pictures.candidatePeaking
                    Component.onCompleted: if (index === 0) view.leftPane = pane; else view.rightPane = pane
                }
                Rectangle {
                    anchors.top: parent.top
                    anchors.left: parent.left
                    anchors.margins: DesignSystem.spacingM
                    radius: 12
                    color: Qt.rgba(0, 0, 0, 0.6)
                    implicitWidth: label.implicitWidth + 20
                    implicitHeight: 24
                    Text {
                        id: label
                        anchors.centerIn: parent
                        text: index === 0 ? "Favorit · F übernimmt rechts" : "Kandidat · ↑ → ↓ entscheiden · Esc schließt"
                        color: DesignSystem.textPrimary
                        font.pixelSize: DesignSystem.fontCaption
                    }
                }
            }
        }
    }
    property PreviewStageItem leftPane
    property PreviewStageItem rightPane
}
