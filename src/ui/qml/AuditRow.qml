import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kestrava

// Lines marked for the linter reach this file's ids from inside a delegate, which Qt 6.4's
// linter does not resolve; they are checked at run time by the Quick tests.

// One group: thumbnail, name, format, file count, size, its decision and a larger view.
Rectangle {
    id: row
    required property int index
    required property string groupId
    required property string fileName
    required property string formatText
    required property string seriesText
    required property string fileCountText
    required property string sizeText
    required property int decision
    required property string thumbnailUrl
    required property bool isSaving
    property bool controlsDisabled: false
    property bool current: false
    signal decide(int decision)
    signal showLarge()

    implicitHeight: 72
    color: current ? DesignSystem.cardRaised : (index % 2 === 0 ? DesignSystem.background : DesignSystem.surface)
    Accessible.role: Accessible.ListItem
    Accessible.name: fileName

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: DesignSystem.spacingL
        anchors.rightMargin: DesignSystem.spacingL
        spacing: DesignSystem.spacingM

        AuditThumbnail {
            Layout.preferredWidth: 60
            Layout.preferredHeight: 56
            source: row.thumbnailUrl
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 2
            Text {
                Layout.fillWidth: true
                text: row.fileName
                color: DesignSystem.textPrimary
                font.pixelSize: DesignSystem.fontBody + 1
                font.weight: Font.DemiBold
                elide: Text.ElideMiddle
            }
            Caption {
                Layout.fillWidth: true
                text: row.formatText + "  ·  " + row.fileCountText + "  ·  " + row.sizeText
                color: DesignSystem.textSecondary
                elide: Text.ElideRight
            }
            Caption {
                objectName: "seriesNote"
                Layout.fillWidth: true
                visible: text.length > 0
                text: row.seriesText
                color: DesignSystem.accent
                elide: Text.ElideRight
            }
        }
        Caption {
            visible: row.isSaving
            text: "Wird gesichert …"
        }
        Row {
            spacing: DesignSystem.spacingS
            Repeater {
                model: [Decision.Keep, Decision.Maybe, Decision.Delete]
                AuditDecisionButton {
                    required property int modelData
                    decision: modelData
                    selected: row.decision === modelData // qmllint disable unqualified
                    isSaving: row.isSaving // qmllint disable unqualified
                    enabled: !row.controlsDisabled // qmllint disable unqualified
                    onClicked: row.decide(modelData) // qmllint disable unqualified
                }
            }
        }
        SecondaryButton {
            text: "Vorschau"
            focusPolicy: Qt.NoFocus
            padding: 6
            onClicked: row.showLarge()
        }
    }
    MouseArea {
        anchors.fill: parent
        z: -1
        onClicked: row.ListView.view.currentIndex = row.index
        onDoubleClicked: row.showLarge()
    }
}
