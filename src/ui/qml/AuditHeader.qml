import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kestrava

// Lines marked for the linter reach this file's ids from inside a delegate, which Qt 6.4's
// linter does not resolve; they are checked at run time by the Quick tests.

// Lead, counts, size of the sort, save state, filter and search.
Rectangle {
    id: header
    property AuditListModel model
    function focusSearch() { search.forceActiveFocus() }
    implicitHeight: column.implicitHeight + 2 * DesignSystem.spacingL
    color: DesignSystem.background

    ColumnLayout {
        id: column
        anchors.fill: parent
        anchors.margins: DesignSystem.spacingL
        spacing: DesignSystem.spacingM

        RowLayout {
            Layout.fillWidth: true
            spacing: DesignSystem.spacingM
            Lead {
                Layout.fillWidth: true
                text: "Kontrolliere deine Entscheidungen. Noch wurde keine Datei verschoben oder kopiert."
                color: DesignSystem.textPrimary
                wrapMode: Text.WordWrap
            }
            Caption {
                objectName: "auditSaveState"
                text: header.model ? header.model.saveStateText : ""
            }
        }
        RowLayout {
            Layout.fillWidth: true
            spacing: DesignSystem.spacingM
            Repeater {
                model: [Decision.Keep, Decision.Maybe, Decision.Delete]
                AuditCount {
                    required property int modelData
                    decision: modelData
                    count: ViewModel.review.decisionCounts[modelData] ?? 0
                }
            }
            Body {
                objectName: "auditSummary"
                Layout.fillWidth: true
                text: header.model ? header.model.summaryText : ""
            }
        }
        RowLayout {
            Layout.fillWidth: true
            spacing: DesignSystem.spacingM
            Text { text: "Filter"; color: DesignSystem.textSecondary; font.pixelSize: DesignSystem.fontBody }
            Row {
                spacing: 0
                Repeater {
                    model: header.model ? header.model.filterOptions : []
                    Button {
                        id: segment
                        required property auditFilterOption modelData
                        required property int index
                        // Not checkable: a click on the chosen filter must not take its mark away.
                        readonly property bool selected: header.model && header.model.filter === modelData.value // qmllint disable unqualified
                        objectName: "filter_" + modelData.name
                        text: modelData.label
                        focusPolicy: Qt.TabFocus
                        onClicked: header.model.filter = modelData.value // qmllint disable unqualified
                        Accessible.role: Accessible.RadioButton
                        Accessible.checked: selected
                        contentItem: Body {
                            text: segment.text
                            color: segment.selected ? DesignSystem.textOnAccent : DesignSystem.textPrimary
                            horizontalAlignment: Text.AlignHCenter
                            verticalAlignment: Text.AlignVCenter
                        }
                        background: Rectangle {
                            implicitWidth: 104
                            implicitHeight: 34
                            radius: 6
                            color: segment.selected ? DesignSystem.accent : DesignSystem.card
                            border.color: DesignSystem.border
                        }
                    }
                }
            }
            Item { Layout.fillWidth: true }
            TextField {
                id: search
                objectName: "auditSearch"
                Layout.preferredWidth: 300
                placeholderText: "Dateiname suchen"
                placeholderTextColor: DesignSystem.textMuted
                color: DesignSystem.textPrimary
                selectByMouse: true
                onTextChanged: header.model.searchText = text
                background: Rectangle {
                    implicitHeight: 36
                    radius: DesignSystem.radiusSmall
                    color: DesignSystem.surface
                    border.color: search.activeFocus ? DesignSystem.accent : DesignSystem.border
                }
            }
        }
    }
}
