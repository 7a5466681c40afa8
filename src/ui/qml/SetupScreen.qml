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
                    Heading {
                        level: 1
                        text: "Sortierung einrichten"
                    }
                    Lead {
                        text: "Einmal festlegen. Danach zählt nur dein Blick."
                        color: DesignSystem.textPrimary
                    }
                    Body {
                        Layout.fillWidth: true
                        text: "Wir haben die technischen Optionen auf drei verständliche Entscheidungen reduziert."
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
                        model: ViewModel.loading.reviewChoices
                        SelectionCard {
                            required property var modelData
                            objectName: "reviewChoice_" + modelData.name
                            Layout.fillWidth: true
                            Layout.fillHeight: true
                            title: modelData.title
                            description: modelData.description
                            selected: ViewModel.loading.selectedReviewChoice === modelData.value
                            enabled: modelData.available
                            onClicked: ViewModel.loading.chooseFormatReview(modelData.value)
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
                        model: ViewModel.setup.operationModeChoices
                        SelectionCard {
                            required property var modelData
                            objectName: "mode_" + modelData.name
                            Layout.fillWidth: true
                            Layout.fillHeight: true
                            title: modelData.title
                            description: modelData.description
                            selected: ViewModel.selectedOperationMode === modelData.value
                            disabledNote: "Für diese Testgruppe vorübergehend gesperrt"
                            onClicked: ViewModel.selectOperationMode(modelData.value)
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
