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
        Text {
            objectName: "stagingTitle"
            Layout.alignment: Qt.AlignHCenter
            text: ViewModel.execution.progressTitle.length > 0 ? ViewModel.execution.progressTitle : "Sicherheitsablage wird vorbereitet"
            color: DesignSystem.textPrimary
            font.pixelSize: DesignSystem.fontTitle
            font.weight: Font.DemiBold
        }
        Text {
            Layout.alignment: Qt.AlignHCenter
            visible: ViewModel.execution.hasProgress
            text: ViewModel.execution.phaseProgressText
            color: DesignSystem.textSecondary
            font.pixelSize: DesignSystem.fontBody
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
            Text {
                text: "Sicherheitskopien sind bereit."
                color: DesignSystem.textPrimary
                font.pixelSize: DesignSystem.fontTitle + 4
                font.weight: Font.Bold
            }
            Text {
                objectName: "confirmationLead"
                Layout.fillWidth: true
                text: ViewModel.trash.trashConfirmationLead
                color: DesignSystem.textSecondary
                font.pixelSize: DesignSystem.fontHeading
                wrapMode: Text.WordWrap
            }
            Text {
                objectName: "trashFilesTitle"
                Layout.fillWidth: true
                text: ViewModel.trash.trashFilesTitle
                color: DesignSystem.textPrimary
                font.pixelSize: DesignSystem.fontBody
                font.weight: Font.DemiBold
            }
            ListView {
                objectName: "trashFileList"
                Layout.fillWidth: true
                Layout.preferredHeight: Math.min(contentHeight, 160)
                clip: true
                model: ViewModel.trash.trashFileNames
                ScrollBar.vertical: ScrollBar { policy: ScrollBar.AsNeeded }
                delegate: Text {
                    required property string modelData
                    width: ListView.view.width
                    text: modelData
                    color: DesignSystem.textSecondary
                    font.pixelSize: DesignSystem.fontCaption
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
                    Text {
                        text: "Jetzt folgt der einzige destruktive Schritt"
                        color: DesignSystem.textPrimary
                        font.pixelSize: DesignSystem.fontHeading
                        font.weight: Font.DemiBold
                    }
                    Text {
                        objectName: "volumeLine"
                        Layout.fillWidth: true
                        text: ViewModel.trash.volumeLine
                        color: DesignSystem.textSecondary
                        font.pixelSize: DesignSystem.fontBody
                        wrapMode: Text.WordWrap
                    }
                    Repeater {
                        model: ViewModel.trash.sourceVolumeLines
                        Text {
                            required property string modelData
                            Layout.fillWidth: true
                            text: modelData
                            color: DesignSystem.textSecondary
                            font.pixelSize: DesignSystem.fontCaption
                            elide: Text.ElideRight
                        }
                    }
                    Text {
                        objectName: "manualReviewText"
                        Layout.fillWidth: true
                        visible: ViewModel.trash.manualReviewCount > 0
                        text: ViewModel.trash.manualReviewText
                        color: DesignSystem.maybe
                        font.pixelSize: DesignSystem.fontBody
                        wrapMode: Text.WordWrap
                    }
                    Text {
                        Layout.fillWidth: true
                        text: ViewModel.trash.trashSafetyText
                        color: DesignSystem.textSecondary
                        font.pixelSize: DesignSystem.fontBody
                        wrapMode: Text.WordWrap
                    }
                    Text {
                        Layout.fillWidth: true
                        text: ViewModel.trash.trashGuaranteeText
                        color: DesignSystem.textMuted
                        font.pixelSize: DesignSystem.fontCaption
                        wrapMode: Text.WordWrap
                    }
                    DarkCheckBox {
                        id: commitBox
                        objectName: "trashCommitConfirmation"
                        Layout.fillWidth: true
                        checked: ViewModel.trashCommitConfirmationAccepted
                        onToggled: ViewModel.trashCommitConfirmationAccepted = checked
                        text: "Ich habe geprüft, welcher Modus und welche Volumes verwendet werden, und möchte die Originale jetzt in den Papierkorb verschieben."
                        contentItem: Text {
                            leftPadding: commitBox.indicator.width + commitBox.spacing
                            text: commitBox.text
                            color: DesignSystem.textPrimary
                            font.pixelSize: DesignSystem.fontBody
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
