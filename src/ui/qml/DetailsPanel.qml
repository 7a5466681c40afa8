import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kestrava

// Capture facts of the photo on screen, read in the background; while comparing, of the
// candidate, the frame the keys decide.
Rectangle {
    id: panel
    property string path
    readonly property bool comparing: ViewModel.compare.active
    readonly property string scoreText: comparing ? ViewModel.compare.candidateScoreText : ViewModel.series.scoreText
    readonly property string sharpestText: comparing ? ViewModel.compare.candidateSharpestText : ViewModel.series.sharpestText
    color: DesignSystem.surface
    Rectangle { width: 1; height: parent.height; color: DesignSystem.border }

    PhotoDetails {
        id: inspector
        objectName: "inspectorDetails"
        path: panel.comparing ? ViewModel.compare.candidatePath : panel.path
    }

    // A low window scrolls the facts rather than letting them run over the controls below.
    Flickable {
        id: scroller
        anchors.fill: parent
        anchors.margins: DesignSystem.spacingL
        contentHeight: facts.implicitHeight
        clip: true
        boundsBehavior: Flickable.StopAtBounds
        ScrollBar.vertical: ScrollBar { policy: scroller.contentHeight > scroller.height ? ScrollBar.AlwaysOn : ScrollBar.AsNeeded }
        ColumnLayout {
            id: facts
            width: scroller.width
            height: Math.max(implicitHeight, scroller.height)
            spacing: DesignSystem.spacingM
            Heading { text: "Inspector" }
            Repeater {
                model: inspector.lines
                ColumnLayout {
                    id: detail
                    required property detailLine modelData
                    Layout.fillWidth: true
                    spacing: 2
                    Caption { text: detail.modelData.label }
                    Body {
                        Layout.fillWidth: true
                        text: detail.modelData.value
                        color: DesignSystem.textPrimary
                        elide: Text.ElideRight
                    }
                }
            }
            ColumnLayout {
                objectName: "focusScore"
                Layout.fillWidth: true
                spacing: 2
                visible: panel.scoreText.length > 0
                Caption { text: "Schärfe" }
                Body {
                    Layout.fillWidth: true
                    text: panel.scoreText + (panel.sharpestText.length > 0 ? " · " + panel.sharpestText : "")
                    color: DesignSystem.textPrimary
                    wrapMode: Text.WordWrap
                }
            }
            Item { Layout.fillHeight: true }
            Caption {
                Layout.fillWidth: true
                text: "↑ Behalten · → Vielleicht · ↓ Aussortiert · ← zurück · Z 100 % · P Peaking"
                wrapMode: Text.WordWrap
            }
        }
    }
}
