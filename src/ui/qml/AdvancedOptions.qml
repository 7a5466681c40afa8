import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kestrava

// Date folders, event name, the verification method, the pause that ends a burst and rating
// sidecars, behind one toggle.
ColumnLayout {
    spacing: DesignSystem.spacingM
    SecondaryButton {
        objectName: "advancedToggle"
        text: (ViewModel.setup.advancedOptionsVisible ? "▾ " : "▸ ") + "Erweiterte Einstellungen"
        onClicked: ViewModel.setup.advancedOptionsVisible = !ViewModel.setup.advancedOptionsVisible
    }
    Card {
        Layout.fillWidth: true
        visible: ViewModel.setup.advancedOptionsVisible
        implicitHeight: column.implicitHeight + 2 * padding
        ColumnLayout {
            id: column
            width: parent.width
            spacing: DesignSystem.spacingM
            DarkCheckBox {
                id: dateBox
                text: "Nach Aufnahmedatum strukturieren"
                checked: ViewModel.setup.groupByDate
                onToggled: ViewModel.setup.updateGroupByDate(checked)
            }
            Caption {
                text: "Ereignisname (optional)"
                color: DesignSystem.textSecondary
            }
            TextField {
                id: eventField
                Layout.fillWidth: true
                text: ViewModel.setup.eventName
                onTextEdited: ViewModel.setup.updateEventName(text)
                color: DesignSystem.textPrimary
                selectByMouse: true
                background: Rectangle {
                    implicitHeight: 38
                    radius: DesignSystem.radiusSmall
                    color: DesignSystem.surface
                    border.color: eventField.activeFocus ? DesignSystem.accent : DesignSystem.border
                }
            }
            Caption {
                text: "Prüfung der Kopien"
                color: DesignSystem.textSecondary
            }
            Repeater {
                model: ViewModel.setup.verificationChoices
                DarkRadioButton {
                    id: radio
                    required property var modelData
                    objectName: "verification_" + modelData.name
                    text: modelData.title
                    checked: ViewModel.setup.verificationMode === modelData.value
                    onClicked: ViewModel.setup.updateVerificationMode(modelData.value)
                }
            }
            Caption {
                text: ViewModel.series.gapLabel
                color: DesignSystem.textSecondary
            }
            RowLayout {
                spacing: DesignSystem.spacingM
                Repeater {
                    model: ViewModel.series.gapChoices
                    DarkRadioButton {
                        required property int index
                        required property int modelData
                        objectName: "seriesGap" + modelData
                        text: ViewModel.series.gapChoiceTitles[index]
                        checked: ViewModel.series.gapMilliseconds === modelData
                        onClicked: ViewModel.series.gapMilliseconds = modelData
                    }
                }
            }
            DarkCheckBox {
                objectName: "ratingSidecarsBox"
                text: ViewModel.setup.ratingSidecarsLabel
                checked: ViewModel.setup.writeRatingSidecars
                onToggled: ViewModel.setup.writeRatingSidecars = checked
            }
            Caption {
                visible: ViewModel.setup.writeRatingSidecars
                text: ViewModel.setup.keepRatingStarsLabel
                color: DesignSystem.textSecondary
            }
            RowLayout {
                visible: ViewModel.setup.writeRatingSidecars
                spacing: DesignSystem.spacingM
                Repeater {
                    model: ViewModel.setup.maximumKeepRatingStars - ViewModel.setup.minimumKeepRatingStars + 1
                    DarkRadioButton {
                        required property int index
                        readonly property int stars: ViewModel.setup.minimumKeepRatingStars + index
                        objectName: "keepStars" + stars
                        text: String(stars)
                        checked: ViewModel.setup.keepRatingStars === stars
                        onClicked: ViewModel.setup.keepRatingStars = stars
                    }
                }
            }
        }
    }
}
