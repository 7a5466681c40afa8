import QtQuick
import Kestrava

// Lines marked for the linter reach this file's ids from inside a delegate, which Qt 6.4's
// linter does not resolve; they are checked at run time by the Quick tests.

// Reference left, candidate right, over the stage while the compare view is open. Which
// groups, and what the keys do, is decided by ViewModel.compare.
Rectangle {
    id: view
    color: DesignSystem.stage
    // The pane under the pointer zooms at it; its partner follows on the same spot.
    function toggleZoom() { (rightPane && rightPane.hasPointer() ? rightPane : leftPane).toggleZoomAtPointer() }

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
                id: side
                required property int index
                width: (view.width - 2) / 2 // qmllint disable unqualified
                height: view.height // qmllint disable unqualified
                PreviewStageItem {
                    id: pane
                    objectName: side.index === 0 ? "compareReference" : "compareCandidate"
                    anchors.fill: parent
                    anchors.margins: zoomed ? 0 : DesignSystem.spacingM
                    image: side.index === 0 ? pictures.referenceImage : pictures.candidateImage // qmllint disable unqualified
                    overlay: side.index === 0 ? pictures.referencePeaking : pictures.candidatePeaking // qmllint disable unqualified
                    Component.onCompleted: if (side.index === 0) view.leftPane = pane; else view.rightPane = pane // qmllint disable unqualified
                }
                Rectangle {
                    anchors.top: parent.top
                    anchors.left: parent.left
                    anchors.margins: DesignSystem.spacingM
                    radius: 12
                    color: Qt.rgba(0, 0, 0, 0.6)
                    // A narrow pane keeps the shot's name and cuts the key hints after it.
                    // Measured from the whole text: an elided Text reports its elided width.
                    width: Math.min(Math.ceil(labelMetrics.advanceWidth) + 20, side.width - 2 * DesignSystem.spacingM)
                    implicitHeight: 24
                    TextMetrics {
                        id: labelMetrics
                        font: label.font
                        text: label.text
                    }
                    Caption {
                        id: label
                        anchors.centerIn: parent
                        width: parent.width - 20
                        elide: Text.ElideRight
                        objectName: side.index === 0 ? "referenceCaption" : "candidateCaption"
                        text: side.index === 0 ? ViewModel.compare.referenceCaption + " · F übernimmt rechts"
                                               : ViewModel.compare.candidateCaption + " · ↑ → ↓ entscheiden · ← zurück · Esc schließt"
                        color: DesignSystem.textPrimary
                    }
                }
            }
        }
    }
    property PreviewStageItem leftPane
    property PreviewStageItem rightPane
    // Zoom and pan together.
    onLeftPaneChanged: if (leftPane && rightPane) { leftPane.partner = rightPane; rightPane.partner = leftPane }
    onRightPaneChanged: if (leftPane && rightPane) { leftPane.partner = rightPane; rightPane.partner = leftPane }
}
