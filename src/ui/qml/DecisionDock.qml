import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kestrava

// The three decisions and the undo, with their keys.
Rectangle {
    id: dock
    readonly property string current: ViewModel.currentGroup.decision ?? ""
    implicitHeight: 84
    color: DesignSystem.surface
    RowLayout {
        anchors.centerIn: parent
        spacing: DesignSystem.spacingM
        SecondaryButton {
            objectName: "undoButton"
            focusPolicy: Qt.NoFocus
            text: "Letzte Entscheidung zurücknehmen"
            enabled: !ViewModel.isCommittingDecision
            ToolTip.visible: hovered
            ToolTip.text: "Letzte Entscheidung zurück · ←"
            onClicked: ViewModel.undoLastDecision()
        }
        Item { width: DesignSystem.spacingL }
        DecisionButton {
            objectName: "keepButton"
            decision: "keep"; keyHint: "↑"
            selected: dock.current === "keep"
            enabled: !ViewModel.isCommittingDecision
            onClicked: ViewModel.classify("keep")
        }
        DecisionButton {
            objectName: "maybeButton"
            decision: "maybe"; keyHint: "→"
            selected: dock.current === "maybe"
            enabled: !ViewModel.isCommittingDecision
            onClicked: ViewModel.classify("maybe")
        }
        DecisionButton {
            objectName: "deleteButton"
            decision: "delete"; keyHint: "↓"
            selected: dock.current === "delete"
            enabled: !ViewModel.isCommittingDecision
            onClicked: ViewModel.classify("delete")
        }
    }
}
