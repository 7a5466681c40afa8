import QtQuick
import QtQuick.Controls
import Kestrava

Button {
    id: control
    property int decision: -1
    property bool selected: false
    property bool isSaving: false
    focusPolicy: Qt.NoFocus
    text: ViewModel.review.decisionLabels[decision] ?? ""
    Accessible.name: (selected ? ViewModel.review.selectedDecisionLabels[decision] : text) ?? ""
    contentItem: Body {
        text: control.text
        color: control.selected ? "#101114" : DesignSystem.textPrimary
        font.weight: control.selected ? Font.DemiBold : Font.Normal
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        opacity: control.isSaving ? 0.6 : 1
    }
    background: Rectangle {
        implicitWidth: 112
        implicitHeight: 32
        radius: 16
        color: control.selected ? DesignSystem.decisionColor(control.decision)
                                : (control.hovered ? DesignSystem.cardRaised : "transparent")
        border.color: DesignSystem.decisionColor(control.decision)
        opacity: control.enabled || control.selected ? 1 : 0.5
    }
}
