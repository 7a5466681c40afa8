import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kestrava

// A decision with its key hint; marked when it is the group's current decision.
Button {
    id: control
    property string decision
    property string keyHint
    property bool selected: false
    focusPolicy: Qt.NoFocus
    Accessible.name: Texts.decisionAccessibleLabel(decision, selected)
    implicitHeight: 54
    implicitWidth: 170
    contentItem: ColumnLayout {
        spacing: 0
        Text {
            Layout.alignment: Qt.AlignHCenter
            text: Texts.decisionLabel(control.decision)
            color: control.selected ? "#101114" : DesignSystem.textPrimary
            font.pixelSize: DesignSystem.fontBody + 1
            font.weight: Font.DemiBold
        }
        Text {
            Layout.alignment: Qt.AlignHCenter
            text: control.keyHint
            color: control.selected ? "#101114" : DesignSystem.textMuted
            font.pixelSize: DesignSystem.fontCaption
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
