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
            CheckBox {
                id: dateBox
                text: "Nach Aufnahmedatum strukturieren"
                checked: ViewModel.groupByDate
                onToggled: ViewModel.updateGroupByDate(checked)
                contentItem: Text {
                    leftPadding: dateBox.indicator.width + dateBox.spacing
                    text: dateBox.text
                    color: DesignSystem.textPrimary
                    font.pixelSize: DesignSystem.fontBody
                    verticalAlignment: Text.AlignVCenter
                }
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
                RadioButton {
                    id: radio
                    required property string modelData
                    text: Texts.verificationTitle(modelData)
                    checked: ViewModel.verificationMode === modelData
                    onClicked: ViewModel.updateVerificationMode(modelData)
                    contentItem: Text {
                        leftPadding: radio.indicator.width + radio.spacing
                        text: radio.text
                        color: DesignSystem.textPrimary
                        font.pixelSize: DesignSystem.fontBody
                        verticalAlignment: Text.AlignVCenter
                    }
                }
            }
        }
    }
}
