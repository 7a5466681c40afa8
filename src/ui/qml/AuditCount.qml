import QtQuick
import QtQuick.Layouts
import Kestrava

Rectangle {
    id: chip
    property int decision: -1
    property int count
    radius: 15
    color: DesignSystem.card
    border.color: DesignSystem.decisionColor(decision)
    implicitWidth: row.implicitWidth + 24
    implicitHeight: 30
    Accessible.role: Accessible.StaticText
    readonly property string label: ViewModel.review.decisionLabels[decision] ?? ""
    Accessible.name: label + ": " + count
    RowLayout {
        id: row
        anchors.centerIn: parent
        spacing: 6
        Rectangle { width: 8; height: 8; radius: 4; color: DesignSystem.decisionColor(chip.decision) }
        Body {
            text: chip.count + " " + chip.label
            color: DesignSystem.textPrimary
        }
    }
}
