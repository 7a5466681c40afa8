import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kestrava

// The last check before anything happens, per mode.
Item {
    id: screen
    readonly property string mode: ViewModel.selectedOperationMode
    readonly property bool trashMode: mode === "organizeAndTrash"

    ScrollView {
        id: scroll
        anchors.fill: parent
        contentWidth: availableWidth
        ColumnLayout {
            x: Math.max(DesignSystem.spacingL, (scroll.availableWidth - width) / 2)
            width: Math.min(scroll.availableWidth - 2 * DesignSystem.spacingL, 760)
            spacing: DesignSystem.spacingL
            Item { Layout.preferredHeight: DesignSystem.spacingS }
            Text {
                text: "Sortierung prüfen"
                color: DesignSystem.textPrimary
                font.pixelSize: DesignSystem.fontTitle + 4
                font.weight: Font.Bold
            }
            Text {
                Layout.fillWidth: true
                text: "Hier siehst du Ziel, Umfang und Wirkung noch einmal in Klartext."
                color: DesignSystem.textSecondary
                font.pixelSize: DesignSystem.fontHeading
                wrapMode: Text.WordWrap
            }
            ConfirmationHeroCard { Layout.fillWidth: true }
            NoticeBanner {
                objectName: "skippedEntriesNote"
                Layout.fillWidth: true
                text: ViewModel.skippedEntriesNote
            }
            Card {
                Layout.fillWidth: true
                implicitHeight: rows.implicitHeight + 2 * padding
                ColumnLayout {
                    id: rows
                    width: parent.width
                    spacing: DesignSystem.spacingM
                    ConfirmationRow {
                        Layout.fillWidth: true
                        label: "Ziel"
                        value: ViewModel.destinationFolder.length > 0 ? ViewModel.destinationFolder : ViewModel.destinationBaseFolder
                    }
                    ConfirmationRow {
                        Layout.fillWidth: true
                        label: "Umfang"
                        value: Texts.scopeText(ViewModel.review.reviewGroupCount, ViewModel.photoCount)
                    }
                    ConfirmationRow {
                        Layout.fillWidth: true
                        label: "Wirkung"
                        value: Texts.effectText(screen.mode)
                    }
                    ConfirmationRow {
                        Layout.fillWidth: true
                        visible: screen.trashMode
                        label: "Aussortierte in Papierkorb"
                        value: Texts.fileCountText(ViewModel.trash.rejectedFileCount)
                    }
                }
            }
            Card {
                Layout.fillWidth: true
                implicitHeight: note.implicitHeight + 2 * padding
                ColumnLayout {
                    id: note
                    width: parent.width
                    spacing: DesignSystem.spacingS
                    Text {
                        text: "Bevor etwas passiert"
                        color: DesignSystem.textPrimary
                        font.pixelSize: DesignSystem.fontHeading
                        font.weight: Font.DemiBold
                    }
                    Text {
                        Layout.fillWidth: true
                        text: Texts.storageCheckText(ViewModel.destinationBaseFolder, ViewModel.execution.isCheckingStorage, ViewModel.execution.storageEstimate)
                        color: DesignSystem.textSecondary
                        font.pixelSize: DesignSystem.fontBody
                        wrapMode: Text.WordWrap
                    }
                    Text {
                        objectName: "executionWaitText"
                        Layout.fillWidth: true
                        visible: text.length > 0
                        text: ViewModel.executionWaitText
                        color: DesignSystem.textSecondary
                        font.pixelSize: DesignSystem.fontBody
                        wrapMode: Text.WordWrap
                    }
                    Text {
                        Layout.fillWidth: true
                        visible: screen.trashMode
                        text: "Erst sichern, dann erneut bestätigen"
                        color: DesignSystem.textPrimary
                        font.pixelSize: DesignSystem.fontBody + 1
                        font.weight: Font.DemiBold
                    }
                    Text {
                        Layout.fillWidth: true
                        visible: screen.trashMode
                        text: Texts.stagingLead(ViewModel.trash.rejectedFileCount)
                        color: DesignSystem.textSecondary
                        font.pixelSize: DesignSystem.fontBody
                        wrapMode: Text.WordWrap
                    }
                    DarkCheckBox {
                        id: confirmBox
                        objectName: "destructiveConfirmation"
                        // The first of the two confirmations the trash mode asks for.
                        visible: screen.trashMode
                        checked: ViewModel.destructiveConfirmationAccepted
                        onToggled: ViewModel.destructiveConfirmationAccepted = checked
                        text: "Ich habe Ziel und Wirkung geprüft."
                        contentItem: Text {
                            leftPadding: confirmBox.indicator.width + confirmBox.spacing
                            text: confirmBox.text
                            color: DesignSystem.textPrimary
                            font.pixelSize: DesignSystem.fontBody
                            verticalAlignment: Text.AlignVCenter
                        }
                    }
                }
            }
            RowLayout {
                Layout.fillWidth: true
                spacing: DesignSystem.spacingM
                SecondaryButton {
                    objectName: "returnToReviewButton"
                    text: "Zurück zur Auswahl"
                    onClicked: ViewModel.review.returnToReview()
                }
                Item { Layout.fillWidth: true }
                PrimaryButton {
                    objectName: "executeButton"
                    text: screen.trashMode ? "Sicherheitsablage vorbereiten" : "Sortierung ausführen"
                    enabled: ViewModel.execution.canExecute && !ViewModel.execution.isApplying
                    onClicked: ViewModel.execution.applySort()
                }
            }
            Item { Layout.preferredHeight: DesignSystem.spacingL }
        }
    }
}
