import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kestrava

// Deciding photo groups: the photo on a dark stage, what it is, the timeline of all groups,
// the decision dock and, on the right, the inspector. Below `inspectorBesideWidth` the
// inspector shares only the photo's row, so the top line and the dock keep the whole width.
Item {
    id: screen
    readonly property int inspectorBesideWidth: 1180
    readonly property bool inspectorBeside: width >= inspectorBesideWidth

    ReviewPreviewController {
        id: preview
        objectName: "previewController"
        viewModel: ViewModel
        active: true
    }

    RowLayout {
        anchors.fill: parent
        spacing: 0

        ColumnLayout {
            Layout.fillWidth: true
            Layout.fillHeight: true
            spacing: 0
            ReviewTopInfo {
                Layout.fillWidth: true
                onOpenAudit: ViewModel.audit.request()
            }
            NoticeBanner {
                objectName: "skippedEntriesNote"
                Layout.fillWidth: true
                Layout.leftMargin: DesignSystem.spacingL
                Layout.rightMargin: DesignSystem.spacingL
                Layout.bottomMargin: visible ? DesignSystem.spacingS : 0
                text: ViewModel.loading.skippedEntriesNote
            }
            Item {
                id: stageArea
                Layout.fillWidth: true
                Layout.fillHeight: true
                PhotoStagePanel {
                    id: stage
                    anchors.fill: parent
                    // Narrow: the inspector stands beside the photo only, never over it.
                    anchors.rightMargin: !screen.inspectorBeside && inspector.visible ? inspector.width : 0
                    controller: preview
                }
                CompareView {
                    id: compareView
                    anchors.fill: stage
                    visible: ViewModel.compare.active
                }
            }
            TimelineBar { Layout.fillWidth: true }
            DecisionDock { Layout.fillWidth: true }
        }
        // The inspector's column when it stands beside the photo.
        Item {
            Layout.preferredWidth: screen.inspectorBeside && inspector.visible ? inspector.width : 0
            Layout.fillHeight: true
        }
    }
    DetailsPanel {
        id: inspector
        objectName: "inspector"
        z: 1
        width: screen.inspectorBeside ? 290 : 250
        x: screen.width - width
        y: screen.inspectorBeside ? 0 : stageArea.y
        height: screen.inspectorBeside ? screen.height : stageArea.height
        visible: ViewModel.inspectorVisible
        path: ViewModel.review.currentGroup.previewPath
    }

    // Focus check: fit ↔ 100 % at the pointer. Arrow keys stay with the decisions.
    Shortcut {
        sequence: "Z"
        onActivated: ViewModel.compare.active ? compareView.toggleZoom() : stage.toggleZoom()
    }
    Shortcut {
        sequence: "I"
        onActivated: ViewModel.inspectorVisible = !ViewModel.inspectorVisible
    }
}
