import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kestrava

// Where the result folder is created, and its name.
Card {
    id: card
    signal chooseFolder()
    implicitHeight: column.implicitHeight + 2 * padding
    ColumnLayout {
        id: column
        width: parent.width
        spacing: DesignSystem.spacingM
        RowLayout {
            Layout.fillWidth: true
            spacing: DesignSystem.spacingM
            ColumnLayout {
                Layout.fillWidth: true
                spacing: 2
                Caption {
                    text: "Zielbasis"
                    color: DesignSystem.textSecondary
                }
                Text {
                    objectName: "destinationBaseText"
                    Layout.fillWidth: true
                    text: ViewModel.destinationBaseFolder.length > 0 ? ViewModel.destinationBaseFolder : "Noch nicht gewählt"
                    color: ViewModel.destinationBaseFolder.length > 0 ? DesignSystem.textPrimary : DesignSystem.textMuted
                    font.pixelSize: DesignSystem.fontBody + 1
                    elide: Text.ElideMiddle
                }
            }
            SecondaryButton {
                text: "Ordner wählen …"
                onClicked: card.chooseFolder()
            }
        }
        NoticeBanner {
            objectName: "destinationBaseWarning"
            Layout.fillWidth: true
            text: ViewModel.destinationBaseWarning
        }
        Caption {
            text: "Name des Ergebnisordners"
            color: DesignSystem.textSecondary
        }
        TextField {
            id: nameField
            objectName: "runFolderNameField"
            Layout.fillWidth: true
            placeholderText: "Kestrava – 2026-07-18 14-30"
            text: ViewModel.runFolderName
            onTextEdited: ViewModel.updateRunFolderName(text)
            color: DesignSystem.textPrimary
            placeholderTextColor: DesignSystem.textMuted
            font.pixelSize: DesignSystem.fontBody + 1
            selectByMouse: true
            background: Rectangle {
                implicitHeight: 40
                radius: DesignSystem.radiusSmall
                color: DesignSystem.surface
                border.color: nameField.activeFocus ? DesignSystem.accent : DesignSystem.border
            }
        }
        StorageCheck { Layout.fillWidth: true }
    }
}
