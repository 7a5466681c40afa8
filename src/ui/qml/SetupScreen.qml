import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kestrava

// The three choices before reviewing, with the summary beside them.
Item {
    id: screen
    FocusScroller { flickable: scroll.contentItem }
    property AppDialogs dialogs

    RowLayout {
        anchors.fill: parent
        anchors.margins: DesignSystem.spacingL
        spacing: DesignSystem.spacingL

        ScrollView {
            id: scroll
            Layout.fillWidth: true
            Layout.fillHeight: true
            contentWidth: availableWidth
            clip: true

            ColumnLayout {
                width: scroll.availableWidth - DesignSystem.spacingM
                spacing: DesignSystem.spacingL

                ColumnLayout {
                    spacing: DesignSystem.spacingS
                    Text {
                        text: "Sortierung einrichten"
                        color: DesignSystem.textPrimary
                        font.pixelSize: DesignSystem.fontTitle + 4
                        font.weight: Font.Bold
                    }
                    Text {
                        text: "Einmal festlegen. Danach zählt nur dein Blick."
                        color: DesignSystem.textPrimary
                        font.pixelSize: DesignSystem.fontHeading
                    }
                    Text {
                        Layout.fillWidth: true
                        text: "Wir haben die technischen Optionen auf drei verständliche Entscheidungen reduziert."
                        color: DesignSystem.textSecondary
                        font.pixelSize: DesignSystem.fontBody
                        wrapMode: Text.WordWrap
                    }
                }

                SectionHeader { number: 1; title: "Welche Ansicht passt zu deinem Workflow?"; Layout.fillWidth: true }
                GridLayout {
                    Layout.fillWidth: true
                    columns: width > 720 ? 3 : 1
                    columnSpacing: DesignSystem.spacingM
                    rowSpacing: DesignSystem.spacingM
                    Repeater {
                        model: ["both", "jpeg", "raw"]
                        SelectionCard {
                            required property string modelData
                            objectName: "reviewChoice_" + modelData
                            Layout.fillWidth: true
                            Layout.fillHeight: true
                            title: Texts.reviewChoiceTitle(modelData)
                            description: Texts.reviewChoiceDescription(modelData)
                            selected: ViewModel.loading.selectedReviewChoice === modelData
                            enabled: Texts.reviewChoiceAvailable(modelData, ViewModel.loading.jpegAvailableCount, ViewModel.loading.rawAvailableCount)
                            onClicked: ViewModel.loading.chooseFormatReview(modelData)
                        }
                    }
                }

                SectionHeader { number: 2; title: "Was soll nach deiner Auswahl passieren?"; Layout.fillWidth: true }
                GridLayout {
                    Layout.fillWidth: true
                    columns: width > 720 ? 3 : 1
                    columnSpacing: DesignSystem.spacingM
                    rowSpacing: DesignSystem.spacingM
                    Repeater {
                        model: ["safeCopy", "moveOriginals", "organizeAndTrash"]
                        SelectionCard {
                            required property string modelData
                            objectName: "mode_" + modelData
                            Layout.fillWidth: true
                            Layout.fillHeight: true
                            title: Texts.operationModeTitle(modelData)
                            description: Texts.operationModeDescription(modelData)
                            selected: ViewModel.selectedOperationMode === modelData
                            disabledNote: "Für diese Testgruppe vorübergehend gesperrt"
                            onClicked: ViewModel.selectOperationMode(modelData)
                        }
                    }
                }

                SectionHeader { number: 3; title: "Wo soll die neue Ordnung entstehen?"; Layout.fillWidth: true }
                DestinationCard {
                    Layout.fillWidth: true
                    onChooseFolder: screen.dialogs.chooseDestination()
                }

                AdvancedOptions { Layout.fillWidth: true }
                Item { Layout.preferredHeight: DesignSystem.spacingL }
            }
        }

        SetupSummaryPanel {
            Layout.preferredWidth: 320
            Layout.alignment: Qt.AlignTop
        }
    }
}
