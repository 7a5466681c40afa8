import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kestrava

// The result, the log and the report.
Item {
    id: screen
    property AppDialogs dialogs
    readonly property var result: ViewModel.lastResult
    readonly property bool hasResult: !!result && result.organizedCount !== undefined
    readonly property int pending: hasResult ? (result.pendingCount ?? 0) : 0

    ScrollView {
        id: scroll
        anchors.fill: parent
        contentWidth: availableWidth
        ColumnLayout {
            x: Math.max(DesignSystem.spacingL, (scroll.availableWidth - width) / 2)
            width: Math.min(scroll.availableWidth - 2 * DesignSystem.spacingL, 820)
            spacing: DesignSystem.spacingL
            Item { Layout.preferredHeight: DesignSystem.spacingM }
            Text {
                text: "Sortierung abgeschlossen"
                color: DesignSystem.textSecondary
                font.pixelSize: DesignSystem.fontHeading
            }
            Text {
                objectName: "completedHeadline"
                text: screen.hasResult ? Texts.completedHeadline(screen.result) : "Keine Ergebnisdaten verfügbar."
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
                MetricCard { Layout.fillWidth: true; label: "Organisiert"; value: screen.hasResult ? screen.result.organizedCount : 0; accentColor: DesignSystem.keep }
                MetricCard { Layout.fillWidth: true; label: "Bereits erledigt"; value: screen.hasResult ? (screen.result.skippedCount ?? 0) : 0 }
                MetricCard { Layout.fillWidth: true; label: "Ausstehend"; value: screen.pending; accentColor: screen.pending > 0 ? DesignSystem.maybe : DesignSystem.textPrimary }
                MetricCard { Layout.fillWidth: true; label: "Im Papierkorb"; value: screen.hasResult ? (screen.result.trashedCount ?? 0) : 0 }
                MetricCard { Layout.fillWidth: true; label: "Aussortiert belassen"; value: screen.hasResult ? (screen.result.retainedDiscardCount ?? 0) : 0 }
                MetricCard {
                    Layout.fillWidth: true
                    label: "Fehler"
                    value: screen.hasResult ? (screen.result.errors ?? []).length : 0
                    accentColor: screen.hasResult && (screen.result.errors ?? []).length > 0 ? DesignSystem.reject : DesignSystem.textPrimary
                }
            }
            RowLayout {
                visible: screen.pending > 0
                Layout.fillWidth: true
                spacing: DesignSystem.spacingM
                Text {
                    Layout.fillWidth: true
                    text: Texts.pendingText(screen.pending)
                    color: DesignSystem.maybe
                    font.pixelSize: DesignSystem.fontBody
                    wrapMode: Text.WordWrap
                }
                PrimaryButton {
                    text: "Fortsetzen"
                    onClicked: ViewModel.retryPendingSort()
                }
            }
            Text {
                visible: screen.hasResult
                text: "Weitere Details stehen im vollständigen Log."
                color: DesignSystem.textSecondary
                font.pixelSize: DesignSystem.fontBody
            }
            RowLayout {
                Layout.fillWidth: true
                spacing: DesignSystem.spacingM
                SecondaryButton {
                    visible: screen.hasResult
                    text: "Log anzeigen"
                    onClicked: ViewModel.showExecutionLog()
                }
                SecondaryButton {
                    visible: screen.hasResult
                    text: "Bericht speichern"
                    onClicked: screen.dialogs.saveReport((path) => ViewModel.saveReport(path))
                }
                SecondaryButton {
                    visible: ViewModel.destinationFolder.length > 0
                    text: "Im Dateimanager öffnen"
                    onClicked: {
                        if (typeof ViewModel.openResultInFinder === "function")
                            ViewModel.openResultInFinder()
                        else
                            Shell.reveal(ViewModel.destinationFolder)
                    }
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
