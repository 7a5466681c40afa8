import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kestrava

// Date folders, event name and the verification method, behind one toggle.
ColumnLayout {
    spacing: DesignSystem.spacingM
    SecondaryButton {
        objectName: "advancedToggle"
        text: (ViewModel.advancedOptionsVisible ? "▾ " : "▸ ") + "Erweiterte Einstellungen"
        onClicked: ViewModel.advancedOptionsVisible = !ViewModel.advancedOptionsVisible
    }
    Card {
        Layout.fillWidth: true
        visible: ViewModel.advancedOptionsVisible
        implicitHeight: column.implicitHeight + 2 * padding
        ColumnLayout {
            id: column
            width: parent.width
            spacing: DesignSystem.spacingM
            DarkCheckBox {
                id: dateBox
                text: "Nach Aufnahmedatum strukturieren"
                checked: ViewModel.groupByDate
                onToggled: ViewModel.updateGroupByDate(checked)
            }
            Text {
                text: "Ereignisname (optional)"
                color: DesignSystem.textSecondary
                font.pixelSize: DesignSystem.fontCaption
            }
            TextField {
                id: eventField
                Layout.fillWidth: true
                text: ViewModel.eventName
                onTextEdited: ViewModel.updateEventName(text)
                color: DesignSystem.textPrimary
                selectByMouse: true
                background: Rectangle {
                    implicitHeight: 38
                    radius: DesignSystem.radiusSmall
                    color: DesignSystem.surface
                    border.color: eventField.activeFocus ? DesignSystem.accent : DesignSystem.border
                }
            }
            Text {
                text: "Prüfung der Kopien"
                color: DesignSystem.textSecondary
                font.pixelSize: DesignSystem.fontCaption
            }
            Repeater {
                model: ["fileSize", "sha256"]
                DarkRadioButton {
                    id: radio
                    required property string modelData
                    text: Texts.verificationTitle(modelData)
                    checked: ViewModel.verificationMode === modelData
                    onClicked: ViewModel.updateVerificationMode(modelData)
                }
            }
        }
    }
}
