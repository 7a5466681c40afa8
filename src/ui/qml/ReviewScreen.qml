import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kestrava

// Deciding photo groups: the photo on a dark stage, what it is, the timeline of all groups,
// the decision dock and, on the right, the inspector.
Item {
    id: screen

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
                text: ViewModel.skippedEntriesNote
            }
            PhotoStagePanel {
                id: stage
                Layout.fillWidth: true
                Layout.fillHeight: true
                controller: preview
            }
            TimelineBar { Layout.fillWidth: true }
            DecisionDock { Layout.fillWidth: true }
        }
        DetailsPanel {
            Layout.preferredWidth: 290
            Layout.fillHeight: true
            visible: ViewModel.inspectorVisible
            path: ViewModel.currentGroup.previewPath ?? ""
        }
    }

    // Focus check: fit ↔ 100 % at the pointer. Arrow keys stay with the decisions.
    Shortcut {
        sequence: "Z"
        onActivated: stage.toggleZoom()
    }
    Shortcut {
        sequence: "I"
        onActivated: ViewModel.inspectorVisible = !ViewModel.inspectorVisible
    }
}
