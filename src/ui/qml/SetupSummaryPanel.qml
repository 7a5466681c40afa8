import QtQuick
import QtQuick.Layouts
import Kestrava

// The choices once more and the start button.
Card {
    implicitHeight: column.implicitHeight + 2 * padding
    ColumnLayout {
        id: column
        width: parent.width
        spacing: DesignSystem.spacingM
        Text {
            text: "Zusammenfassung"
            color: DesignSystem.textPrimary
            font.pixelSize: DesignSystem.fontHeading
            font.weight: Font.DemiBold
        }
        Repeater {
            model: [
                { label: "Ordner", value: ViewModel.sourceFolderName },
                { label: "Ansicht", value: ViewModel.loading.selectedReviewChoiceTitle },
                { label: "Modus", value: ViewModel.execution.modeTitle },
                { label: "Zielbasis", value: ViewModel.destinationBaseFolderName },
                { label: "Ergebnisordner", value: ViewModel.runFolderName }
            ]
            ColumnLayout {
                id: entry
                required property var modelData
                Layout.fillWidth: true
                spacing: 2
                Text {
                    text: entry.modelData.label
                    color: DesignSystem.textMuted
                    font.pixelSize: DesignSystem.fontCaption
                }
                Text {
                    Layout.fillWidth: true
                    text: entry.modelData.value.length > 0 ? entry.modelData.value : "–"
                    color: DesignSystem.textPrimary
                    font.pixelSize: DesignSystem.fontBody
                    elide: Text.ElideMiddle
                }
            }
        }
        NoticeBanner {
            objectName: "skippedEntriesNote"
            Layout.fillWidth: true
            text: ViewModel.loading.skippedEntriesNote
        }
        Text {
            Layout.fillWidth: true
            text: "Es wird erst nach deiner ausdrücklichen Bestätigung etwas organisiert."
            color: DesignSystem.textSecondary
            font.pixelSize: DesignSystem.fontCaption
            wrapMode: Text.WordWrap
        }
        PrimaryButton {
            objectName: "startReviewButton"
            Layout.fillWidth: true
            text: "Auswahl starten"
            enabled: ViewModel.loading.canStartReview
            onClicked: ViewModel.loading.startReviewing()
        }
    }
}
