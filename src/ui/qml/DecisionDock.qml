import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kestrava

// The three decisions and the undo, with their keys; in a series, one decision for all of it.
Rectangle {
    id: dock
    readonly property int current: ViewModel.review.currentGroup.decision
    implicitHeight: 84
    color: DesignSystem.surface
    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: DesignSystem.spacingL
        anchors.rightMargin: DesignSystem.spacingL
        spacing: DesignSystem.spacingM
        Item { Layout.fillWidth: true }
        SecondaryButton {
            objectName: "undoButton"
            Layout.maximumWidth: implicitWidth
            Layout.fillWidth: true
            Layout.minimumWidth: 200
            focusPolicy: Qt.NoFocus
            text: "Letzte Entscheidung zurücknehmen"
            enabled: !ViewModel.review.isCommittingDecision
            ToolTip.visible: hovered
            ToolTip.text: "Letzte Entscheidung zurück · ←"
            onClicked: ViewModel.compare.active ? ViewModel.compare.undo() : ViewModel.review.undoLastDecision()
        }
        Item { Layout.preferredWidth: DesignSystem.spacingL; Layout.minimumWidth: 0; Layout.fillWidth: true; Layout.maximumWidth: DesignSystem.spacingL }
        DecisionButton {
            Layout.fillWidth: true
            Layout.maximumWidth: implicitWidth
            Layout.minimumWidth: 110
            objectName: "keepButton"
            decision: Decision.Keep; keyHint: "↑"
            selected: dock.current === Decision.Keep
            enabled: !ViewModel.review.isCommittingDecision
            onClicked: ViewModel.compare.active ? ViewModel.compare.decide(Decision.Keep) : ViewModel.review.classify(Decision.Keep)
        }
        DecisionButton {
            Layout.fillWidth: true
            Layout.maximumWidth: implicitWidth
            Layout.minimumWidth: 110
            objectName: "maybeButton"
            decision: Decision.Maybe; keyHint: "→"
            selected: dock.current === Decision.Maybe
            enabled: !ViewModel.review.isCommittingDecision
            onClicked: ViewModel.compare.active ? ViewModel.compare.decide(Decision.Maybe) : ViewModel.review.classify(Decision.Maybe)
        }
        DecisionButton {
            Layout.fillWidth: true
            Layout.maximumWidth: implicitWidth
            Layout.minimumWidth: 110
            objectName: "deleteButton"
            decision: Decision.Delete; keyHint: "↓"
            selected: dock.current === Decision.Delete
            enabled: !ViewModel.review.isCommittingDecision
            onClicked: ViewModel.compare.active ? ViewModel.compare.decide(Decision.Delete) : ViewModel.review.classify(Decision.Delete)
        }
        SecondaryButton {
            objectName: "seriesButton"
            visible: ViewModel.series.positionText.length > 0
            Layout.minimumWidth: 160
            focusPolicy: Qt.NoFocus
            text: "Serie entscheiden"
            enabled: !ViewModel.review.isCommittingDecision
            ToolTip.visible: hovered
            ToolTip.text: "Schärfste Aufnahme behalten, offene andere aussortieren · S"
            onClicked: ViewModel.series.decideSeries()
        }
        Item { Layout.fillWidth: true }
    }
}
