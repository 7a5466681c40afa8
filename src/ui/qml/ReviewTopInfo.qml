import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kestrava

// What the current group is and how far the review has come; while comparing, the candidate.
Rectangle {
    id: bar
    signal openAudit()
    readonly property var group: ViewModel.review.currentGroup
    readonly property bool comparing: ViewModel.compare.active
    // The candidate is always still open: no decision badge while comparing.
    readonly property int decision: comparing ? -1 : group.decision
    implicitHeight: 76
    color: DesignSystem.surface

    GridLayout {
        anchors.fill: parent
        anchors.leftMargin: DesignSystem.spacingL
        anchors.rightMargin: DesignSystem.spacingL
        anchors.topMargin: DesignSystem.spacingS
        anchors.bottomMargin: DesignSystem.spacingS
        columns: 2
        rowSpacing: 4
        columnSpacing: DesignSystem.spacingL

        RowLayout {
            Layout.fillWidth: true
            spacing: DesignSystem.spacingS
            TextMetrics {
                id: nameMetrics
                font: fileNameText.font
                text: fileNameText.text
            }
            Text {
                id: fileNameText
                objectName: "currentFileName"
                // Sized from the metrics of the whole name: once elided, a Text reports the
                // elided width as its implicit width, so a name laid out before the window had
                // its width would stay "…".
                Layout.fillWidth: true
                Layout.preferredWidth: Math.ceil(nameMetrics.advanceWidth) + 1
                Layout.maximumWidth: Math.ceil(nameMetrics.advanceWidth) + 1
                text: bar.comparing ? ViewModel.compare.candidateFileName : bar.group.fileName
                color: DesignSystem.textPrimary
                font.pixelSize: DesignSystem.fontHeading + 1
                font.weight: Font.DemiBold
                elide: Text.ElideMiddle
            }
            Rectangle {
                visible: bar.decision >= 0
                radius: 10
                color: DesignSystem.decisionColor(bar.decision)
                implicitWidth: badge.implicitWidth + 16
                implicitHeight: 20
                Caption {
                    id: badge
                    anchors.centerIn: parent
                    text: bar.group.decisionLabel
                    color: "#101114"
                    font.weight: Font.DemiBold
                }
            }
            Caption {
                objectName: "seriesPosition"
                visible: text.length > 0
                text: bar.comparing ? ViewModel.compare.candidateSeriesText : ViewModel.series.positionText
                color: DesignSystem.accent
                font.weight: Font.DemiBold
            }
            Caption {
                objectName: "seriesSharpest"
                visible: text.length > 0
                text: bar.comparing ? ViewModel.compare.candidateSharpestText : ViewModel.series.sharpestText
                color: DesignSystem.keep
            }
            Item { Layout.fillWidth: true }
        }
        RowLayout {
            Layout.alignment: Qt.AlignRight
            spacing: DesignSystem.spacingS
            SecondaryButton {
                objectName: "auditLink"
                text: "Alle Entscheidungen in der Prüfliste kontrollieren"
                font.pixelSize: DesignSystem.fontCaption
                topPadding: 5
                bottomPadding: 5
                onClicked: bar.openAudit()
            }
            SecondaryButton {
                objectName: "inspectorToggle"
                text: "Inspector"
                topPadding: 5
                bottomPadding: 5
                Accessible.name: "Inspector ein-/ausblenden"
                ToolTip.visible: hovered
                ToolTip.text: "Inspector ein-/ausblenden"
                onClicked: ViewModel.inspectorVisible = !ViewModel.inspectorVisible
            }
        }

        Caption {
            Layout.fillWidth: true
            text: bar.comparing ? ViewModel.compare.candidateDetailsText : bar.group.detailText
            color: DesignSystem.textSecondary
            elide: Text.ElideLeft
        }
        RowLayout {
            Layout.alignment: Qt.AlignRight
            spacing: DesignSystem.spacingM
            Caption {
                objectName: "positionText"
                text: bar.comparing ? ViewModel.compare.candidatePositionText : ViewModel.review.positionText
                color: DesignSystem.textPrimary
            }
            Repeater {
                model: [Decision.Keep, Decision.Maybe, Decision.Delete]
                RowLayout {
                    id: count
                    required property int modelData
                    spacing: 5
                    Rectangle { width: 8; height: 8; radius: 4; color: DesignSystem.decisionColor(count.modelData) }
                    Caption {
                        text: (ViewModel.review.decisionCounts[count.modelData] ?? 0) + " " + ViewModel.review.decisionLabels[count.modelData]
                        color: DesignSystem.textSecondary
                    }
                }
            }
        }
    }
}
