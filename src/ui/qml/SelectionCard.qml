import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kestrava

// One option among several: title, description, selected or not; shown dimmed and inert when
// it cannot be chosen.
AbstractButton {
    id: control
    property string title
    property string description
    property bool selected: false
    property string disabledNote
    checkable: false
    hoverEnabled: true
    implicitHeight: column.implicitHeight + 2 * DesignSystem.spacingM
    implicitWidth: 240
    Accessible.role: Accessible.RadioButton
    Accessible.name: title
    Accessible.description: description
    Accessible.checked: selected
    opacity: enabled ? 1 : 0.45

    background: Rectangle {
        radius: DesignSystem.radius
        color: control.selected ? Qt.rgba(0.48, 0.65, 1.0, 0.12) : (control.hovered ? DesignSystem.cardRaised : DesignSystem.card)
        border.color: control.selected ? DesignSystem.accent : (control.visualFocus ? DesignSystem.textSecondary : DesignSystem.border)
        border.width: control.selected ? 2 : 1
    }
    contentItem: Item {
        ColumnLayout {
            id: column
            anchors.fill: parent
            anchors.margins: DesignSystem.spacingM
            spacing: DesignSystem.spacingS
            RowLayout {
                Layout.fillWidth: true
                Heading {
                    Layout.fillWidth: true
                    text: control.title
                    wrapMode: Text.WordWrap
                }
                Rectangle {
                    width: 18; height: 18; radius: 9
                    color: control.selected ? DesignSystem.accent : "transparent"
                    border.color: control.selected ? DesignSystem.accent : DesignSystem.textMuted
                    border.width: 2
                }
            }
            Body {
                Layout.fillWidth: true
                text: control.description
                wrapMode: Text.WordWrap
                lineHeight: 1.15
            }
            Caption {
                Layout.fillWidth: true
                visible: !control.enabled && control.disabledNote.length > 0
                text: control.disabledNote
                color: DesignSystem.maybe
                wrapMode: Text.WordWrap
            }
            Item { Layout.fillHeight: true }
        }
    }
}
