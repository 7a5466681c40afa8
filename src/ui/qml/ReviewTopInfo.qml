import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kestrava

// What the current group is and how far the review has come.
Rectangle {
    id: bar
    signal openAudit()
    readonly property var group: ViewModel.currentGroup
    readonly property string decision: group.decision ?? ""
    implicitHeight: 72
    color: DesignSystem.surface

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: DesignSystem.spacingL
        anchors.rightMargin: DesignSystem.spacingL
        spacing: DesignSystem.spacingL

        ColumnLayout {
            Layout.fillWidth: true
            spacing: 2
            RowLayout {
                spacing: DesignSystem.spacingS
                Text {
                    objectName: "currentFileName"
                    text: bar.group.fileName ?? ""
                    color: DesignSystem.textPrimary
                    font.pixelSize: DesignSystem.fontHeading + 1
                    font.weight: Font.DemiBold
                    elide: Text.ElideMiddle
                    Layout.maximumWidth: 360
                }
                Rectangle {
                    visible: bar.decision.length > 0
                    radius: 10
                    color: DesignSystem.decisionColor(bar.decision)
                    implicitWidth: badge.implicitWidth + 16
                    implicitHeight: 20
                    Text {
                        id: badge
                        anchors.centerIn: parent
                        text: Texts.decisionLabel(bar.decision)
                        color: "#101114"
                        font.pixelSize: DesignSystem.fontCaption
                        font.weight: Font.DemiBold
                    }
                }
            }
            Text {
                Layout.fillWidth: true
                text: (bar.group.folder ?? "") + (bar.group.totalBytes !== undefined ? "  ·  " + Texts.byteCount(bar.group.totalBytes) : "")
                      + ((bar.group.memberPaths ?? []).length > 0 ? "  ·  " + Texts.fileCountText(bar.group.memberPaths.length) : "")
                color: DesignSystem.textSecondary
                font.pixelSize: DesignSystem.fontCaption
                elide: Text.ElideMiddle
            }
        }

        Text {
            text: Texts.positionText(ViewModel.currentIndex, ViewModel.reviewGroupCount)
            color: DesignSystem.textSecondary
            font.pixelSize: DesignSystem.fontBody
        }
        Repeater {
            model: ["keep", "maybe", "delete"]
            RowLayout {
                required property string modelData
                spacing: 6
                Rectangle { width: 9; height: 9; radius: 4.5; color: DesignSystem.decisionColor(modelData) }
                Text {
                    text: (ViewModel.decisionCounts[modelData] ?? 0) + " " + Texts.decisionLabel(modelData)
                    color: DesignSystem.textSecondary
                    font.pixelSize: DesignSystem.fontBody
                }
            }
        }
        ColumnLayout {
            spacing: 2
            SecondaryButton {
                objectName: "auditLink"
                Layout.alignment: Qt.AlignRight
                text: "Alle Entscheidungen in der Prüfliste kontrollieren"
                font.pixelSize: DesignSystem.fontCaption
                padding: 6
                onClicked: bar.openAudit()
            }
        }
        SecondaryButton {
            text: "Inspector"
            Accessible.name: "Inspector ein-/ausblenden"
            ToolTip.visible: hovered
            ToolTip.text: "Inspector ein-/ausblenden"
            checkable: true
            checked: ViewModel.inspectorVisible
            onClicked: ViewModel.inspectorVisible = !ViewModel.inspectorVisible
        }
    }
}
