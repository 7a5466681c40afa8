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
        Heading {
            text: "Zusammenfassung"
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
                Caption {
                    text: entry.modelData.label
                }
                Body {
                    Layout.fillWidth: true
                    text: entry.modelData.value.length > 0 ? entry.modelData.value : "–"
                    color: DesignSystem.textPrimary
                    elide: Text.ElideMiddle
                }
            }
        }
        NoticeBanner {
            objectName: "skippedEntriesNote"
            Layout.fillWidth: true
            text: ViewModel.loading.skippedEntriesNote
        }
        Caption {
            Layout.fillWidth: true
            text: "Es wird erst nach deiner ausdrücklichen Bestätigung etwas organisiert."
            color: DesignSystem.textSecondary
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
