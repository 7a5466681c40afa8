import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kestrava

// A decision with its key hint; marked when it is the group's current decision.
Button {
    id: control
    property int decision: -1
    property string keyHint
    property bool selected: false
    focusPolicy: Qt.NoFocus
    readonly property string label: ViewModel.review.decisionLabels[decision] ?? ""
    Accessible.name: (selected ? ViewModel.review.selectedDecisionLabels[decision] : label) ?? ""
    implicitHeight: 54
    implicitWidth: 170
    contentItem: ColumnLayout {
        spacing: 0
        Text {
            Layout.alignment: Qt.AlignHCenter
            text: control.label
            color: control.selected ? "#101114" : DesignSystem.textPrimary
            font.pixelSize: DesignSystem.fontBody + 1
            font.weight: Font.DemiBold
        }
        Caption {
            Layout.alignment: Qt.AlignHCenter
            text: control.keyHint
            color: control.selected ? "#101114" : DesignSystem.textMuted
        }
    }
    background: Rectangle {
        radius: DesignSystem.radius
        readonly property color tone: DesignSystem.decisionColor(control.decision)
        color: control.selected ? tone : (control.down ? Qt.darker(DesignSystem.cardRaised, 1.2)
                                          : control.hovered ? DesignSystem.cardRaised : DesignSystem.card)
        border.color: tone
        border.width: control.selected ? 0 : 1
        opacity: control.enabled ? 1 : 0.5
    }
}
