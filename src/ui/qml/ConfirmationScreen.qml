import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kestrava

// The last check before anything happens, per mode.
Item {
    id: screen
    FocusScroller { flickable: scroll.contentItem }
    readonly property int mode: ViewModel.selectedOperationMode
    readonly property bool trashMode: mode === OperationMode.OrganizeAndTrash
    // Moving and trashing touch the originals: both start only after the tick.
    readonly property bool needsTick: mode === OperationMode.MoveOriginals || trashMode

    ScrollView {
        id: scroll
        anchors.fill: parent
        contentWidth: availableWidth
        ColumnLayout {
            x: Math.max(DesignSystem.spacingL, (scroll.availableWidth - width) / 2)
            width: Math.min(scroll.availableWidth - 2 * DesignSystem.spacingL, 760)
            spacing: DesignSystem.spacingL
            Item { Layout.preferredHeight: DesignSystem.spacingS }
            Heading {
                level: 1
                text: "Sortierung prüfen"
            }
            Lead {
                Layout.fillWidth: true
                text: "Hier siehst du Ziel, Umfang und Wirkung noch einmal in Klartext."
                wrapMode: Text.WordWrap
            }
            ConfirmationHeroCard { Layout.fillWidth: true }
            NoticeBanner {
                objectName: "skippedEntriesNote"
                Layout.fillWidth: true
                text: ViewModel.loading.skippedEntriesNote
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
                        value: ViewModel.execution.runScopeText
                    }
                    // Under the scope's value: per decision and format, then what is carried or left out.
                    ColumnLayout {
                        Layout.fillWidth: true
                        Layout.leftMargin: 220 + DesignSystem.spacingM
                        Layout.topMargin: -DesignSystem.spacingS
                        visible: scopeLines.count > 0
                        spacing: 2
                        Repeater {
                            id: scopeLines
                            objectName: "runScopeLines"
                            model: ViewModel.execution.runScopeLines
                            Body {
                                required property string modelData
                                Layout.fillWidth: true
                                text: modelData
                                wrapMode: Text.WordWrap
                            }
                        }
                    }
                    ConfirmationRow {
                        Layout.fillWidth: true
                        label: "Wirkung"
                        value: ViewModel.execution.effectText
                    }
                    ConfirmationRow {
                        Layout.fillWidth: true
                        visible: screen.trashMode
                        label: "Aussortierte in Papierkorb"
                        value: ViewModel.trash.rejectedFilesText
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
                    Heading {
                        text: "Bevor etwas passiert"
                    }
                    Body {
                        Layout.fillWidth: true
                        text: ViewModel.execution.storageCheckText
                        wrapMode: Text.WordWrap
                    }
                    Body {
                        objectName: "executionWaitText"
                        Layout.fillWidth: true
                        visible: text.length > 0
                        text: ViewModel.loading.executionWaitText
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
                    Body {
                        Layout.fillWidth: true
                        visible: screen.trashMode
                        text: ViewModel.trash.stagingLead
                        wrapMode: Text.WordWrap
                    }
                    DarkCheckBox {
                        id: confirmBox
                        objectName: "destructiveConfirmation"
                        // Moving asks for it once; the trash mode asks again before the Trash.
                        visible: screen.needsTick
                        checked: ViewModel.destructiveConfirmationAccepted
                        onToggled: ViewModel.destructiveConfirmationAccepted = checked
                        text: "Ich habe Ziel und Wirkung geprüft."
                        contentItem: Body {
                            leftPadding: confirmBox.indicator.width + confirmBox.spacing
                            text: confirmBox.text
                            color: DesignSystem.textPrimary
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
