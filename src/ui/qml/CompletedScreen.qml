import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kestrava

// Lines marked for the linter reach this file's ids from inside a delegate, which Qt 6.4's
// linter does not resolve; they are checked at run time by the Quick tests.

// The result, the log and the report.
Item {
    id: screen
    FocusScroller { flickable: scroll.contentItem }
    property AppDialogs dialogs
    readonly property bool hasResult: ViewModel.execution.hasResult
    readonly property int pending: ViewModel.execution.pendingCount
    // A card's tone indexes these: neutral, good, attention, failure.
    readonly property var toneColors: [DesignSystem.textPrimary, DesignSystem.keep, DesignSystem.maybe, DesignSystem.reject]

    ScrollView {
        id: scroll
        anchors.fill: parent
        contentWidth: availableWidth
        ColumnLayout {
            x: Math.max(DesignSystem.spacingL, (scroll.availableWidth - width) / 2)
            width: Math.min(scroll.availableWidth - 2 * DesignSystem.spacingL, 820)
            spacing: DesignSystem.spacingL
            Item { Layout.preferredHeight: DesignSystem.spacingM }
            Lead {
                text: "Sortierung abgeschlossen"
            }
            Text {
                objectName: "completedHeadline"
                text: ViewModel.execution.completedHeadline
                color: DesignSystem.textPrimary
                font.pixelSize: DesignSystem.fontTitle + 6
                font.weight: Font.Bold
            }
            GridLayout {
                Layout.fillWidth: true
                visible: screen.hasResult
                columns: 3
                columnSpacing: DesignSystem.spacingM
                rowSpacing: DesignSystem.spacingM
                Repeater {
                    objectName: "resultCards"
                    model: ViewModel.execution.resultCards
                    MetricCard {
                        required property var modelData
                        objectName: "resultCard_" + modelData.label
                        Layout.fillWidth: true
                        label: modelData.label
                        value: modelData.value
                        accentColor: screen.toneColors[modelData.tone] // qmllint disable unqualified
                    }
                }
            }
            RowLayout {
                visible: screen.pending > 0
                Layout.fillWidth: true
                spacing: DesignSystem.spacingM
                Body {
                    objectName: "pendingText"
                    Layout.fillWidth: true
                    text: ViewModel.execution.pendingText
                    color: DesignSystem.maybe
                    wrapMode: Text.WordWrap
                }
                PrimaryButton {
                    objectName: "retryPendingButton"
                    text: "Fortsetzen"
                    enabled: !ViewModel.execution.isApplying
                    onClicked: ViewModel.execution.retryPendingSort()
                }
            }
            // Selectable, so the path can be copied where no file manager opens.
            TextEdit {
                objectName: "resultFolderPath"
                visible: ViewModel.destinationFolder.length > 0
                Layout.fillWidth: true
                readOnly: true
                selectByMouse: true
                wrapMode: TextEdit.WrapAnywhere
                text: "Ergebnisordner: " + ViewModel.destinationFolder
                color: DesignSystem.textSecondary
                selectedTextColor: DesignSystem.background
                selectionColor: DesignSystem.textSecondary
                font.pixelSize: DesignSystem.fontBody
            }
            Body {
                visible: screen.hasResult
                text: "Weitere Details stehen im vollständigen Log."
            }
            RowLayout {
                Layout.fillWidth: true
                spacing: DesignSystem.spacingM
                SecondaryButton {
                    objectName: "showLogButton"
                    visible: screen.hasResult
                    text: "Protokoll anzeigen"
                    onClicked: ViewModel.execution.showExecutionLog()
                }
                SecondaryButton {
                    objectName: "saveReportButton"
                    visible: screen.hasResult
                    text: "Bericht speichern"
                    onClicked: screen.dialogs.saveReport()
                }
                SecondaryButton {
                    objectName: "revealResultButton"
                    visible: ViewModel.destinationFolder.length > 0
                    text: "Im Dateimanager öffnen"
                    onClicked: ViewModel.execution.openResultInFileManager()
                }
                Item { Layout.fillWidth: true }
                PrimaryButton {
                    objectName: "newSortButton"
                    text: "Neue Sortierung"
                    onClicked: ViewModel.newSort()
                }
            }
        }
    }
}
