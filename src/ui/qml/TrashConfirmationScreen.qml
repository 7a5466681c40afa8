import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kestrava

// Safety copies being made, then the second confirmation before the only destructive step.
Item {
    id: screen
    FocusScroller { flickable: scroll.contentItem }
    readonly property bool staging: ViewModel.route === AppRoute.TrashStaging

    ColumnLayout {
        anchors.centerIn: parent
        visible: screen.staging
        width: Math.min(parent.width - 80, 620)
        spacing: DesignSystem.spacingM
        Heading {
            level: 2
            objectName: "stagingTitle"
            Layout.alignment: Qt.AlignHCenter
            text: ViewModel.execution.progressTitle.length > 0 ? ViewModel.execution.progressTitle : "Sicherheitsablage wird vorbereitet"
        }
        Body {
            Layout.alignment: Qt.AlignHCenter
            visible: ViewModel.execution.hasProgress
            text: ViewModel.execution.phaseProgressText
        }
        ProgressTrack {
            Layout.fillWidth: true
            value: ViewModel.execution.progressFraction
            indeterminate: !ViewModel.execution.hasProgress
        }
    }

    ScrollView {
        id: scroll
        anchors.fill: parent
        visible: !screen.staging
        contentWidth: availableWidth
        ColumnLayout {
            x: Math.max(DesignSystem.spacingL, (scroll.availableWidth - width) / 2)
            width: Math.min(scroll.availableWidth - 2 * DesignSystem.spacingL, 780)
            spacing: DesignSystem.spacingL
            Item { Layout.preferredHeight: DesignSystem.spacingS }
            Heading {
                level: 1
                text: "Sicherheitskopien sind bereit."
            }
            Lead {
                objectName: "confirmationLead"
                Layout.fillWidth: true
                text: ViewModel.trash.trashConfirmationLead
                wrapMode: Text.WordWrap
            }
            Body {
                objectName: "trashFilesTitle"
                Layout.fillWidth: true
                text: ViewModel.trash.trashFilesTitle
                color: DesignSystem.textPrimary
                font.weight: Font.DemiBold
            }
            ListView {
                objectName: "trashFileList"
                Layout.fillWidth: true
                Layout.preferredHeight: Math.min(contentHeight, 160)
                clip: true
                model: ViewModel.trash.trashFileNames
                ScrollBar.vertical: ScrollBar { policy: ScrollBar.AsNeeded }
                delegate: Caption {
                    required property string modelData
                    width: ListView.view.width
                    text: modelData
                    color: DesignSystem.textSecondary
                    elide: Text.ElideMiddle
                }
            }
            Card {
                Layout.fillWidth: true
                highlighted: true
                implicitHeight: body.implicitHeight + 2 * padding
                ColumnLayout {
                    id: body
                    width: parent.width
                    spacing: DesignSystem.spacingM
                    Heading {
                        text: "Jetzt folgt der einzige destruktive Schritt"
                    }
                    Body {
                        objectName: "volumeLine"
                        Layout.fillWidth: true
                        text: ViewModel.trash.volumeLine
                        wrapMode: Text.WordWrap
                    }
                    Repeater {
                        model: ViewModel.trash.sourceVolumeLines
                        Caption {
                            required property string modelData
                            Layout.fillWidth: true
                            text: modelData
                            color: DesignSystem.textSecondary
                            elide: Text.ElideRight
                        }
                    }
                    Body {
                        objectName: "manualReviewText"
                        Layout.fillWidth: true
                        visible: ViewModel.trash.manualReviewCount > 0
                        text: ViewModel.trash.manualReviewText
                        color: DesignSystem.maybe
                        wrapMode: Text.WordWrap
                    }
                    Body {
                        Layout.fillWidth: true
                        text: ViewModel.trash.trashSafetyText
                        wrapMode: Text.WordWrap
                    }
                    Caption {
                        Layout.fillWidth: true
                        text: ViewModel.trash.trashGuaranteeText
                        wrapMode: Text.WordWrap
                    }
                    DarkCheckBox {
                        id: commitBox
                        objectName: "trashCommitConfirmation"
                        Layout.fillWidth: true
                        checked: ViewModel.trashCommitConfirmationAccepted
                        onToggled: ViewModel.trashCommitConfirmationAccepted = checked
                        text: "Ich habe geprüft, welcher Modus und welche Volumes verwendet werden, und möchte die Originale jetzt in den Papierkorb verschieben."
                        contentItem: Body {
                            leftPadding: commitBox.indicator.width + commitBox.spacing
                            text: commitBox.text
                            color: DesignSystem.textPrimary
                            wrapMode: Text.WordWrap
                            verticalAlignment: Text.AlignVCenter
                        }
                    }
                }
            }
            RowLayout {
                Layout.fillWidth: true
                spacing: DesignSystem.spacingM
                SecondaryButton {
                    objectName: "openSafetyFolderButton"
                    text: "Sicherheitsablage im Dateimanager öffnen"
                    onClicked: ViewModel.trash.openSafetyFolder()
                }
                Item { Layout.fillWidth: true }
                SecondaryButton {
                    objectName: "deferTrashButton"
                    text: "Später entscheiden"
                    enabled: !ViewModel.execution.isApplying
                    onClicked: ViewModel.trash.deferPreparedTrash()
                }
                PrimaryButton {
                    objectName: "commitTrashButton"
                    destructive: true
                    text: "Jetzt in den Papierkorb"
                    enabled: ViewModel.trash.canCommitTrash
                    onClicked: ViewModel.trash.commitPreparedTrash()
                }
            }
        }
    }
}
