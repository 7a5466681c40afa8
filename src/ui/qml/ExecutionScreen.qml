import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kestrava

// Progress of the execution, and a safe way to stop it.
Item {
    id: screen

    ColumnLayout {
        anchors.centerIn: parent
        width: Math.min(parent.width - 2 * DesignSystem.spacingXL, 980)
        spacing: DesignSystem.spacingL
        Heading {
            level: 1
            text: "Dateien werden organisiert"
        }
        Lead {
            objectName: "progressTitle"
            Layout.fillWidth: true
            visible: text.length > 0
            text: ViewModel.execution.progressTitle
            wrapMode: Text.WordWrap
        }
        Lead {
            objectName: "phaseText"
            text: ViewModel.execution.phaseText
            color: DesignSystem.accent
        }
        GridLayout {
            Layout.fillWidth: true
            // Four cards in a row only where each keeps "47,7 MB von 99,1 MB" on one line; on a
            // narrower screen two rows of two, rather than a value broken over two lines.
            columns: width >= 4 * 300 ? 4 : 2
            rowSpacing: DesignSystem.spacingM
            columnSpacing: DesignSystem.spacingM
            MetricCard {
                Layout.fillHeight: true
                objectName: "fileProgressCard"
                Layout.fillWidth: true
                label: "Dateien"
                value: ViewModel.execution.fileProgressText
            }
            MetricCard {
                Layout.fillHeight: true
                Layout.fillWidth: true
                label: "Datenmenge"
                value: ViewModel.execution.byteProgressText
            }
            MetricCard {
                Layout.fillHeight: true
                Layout.fillWidth: true
                label: "Tempo"
                value: ViewModel.execution.transferRateText
            }
            MetricCard {
                Layout.fillHeight: true
                Layout.fillWidth: true
                label: "Restzeit"
                value: ViewModel.execution.timeLeftText
            }
        }
        ProgressTrack {
            objectName: "executionProgress"
            Layout.fillWidth: true
            value: ViewModel.execution.progressFraction
            indeterminate: !ViewModel.execution.hasProgress
        }
        Caption {
            Layout.fillWidth: true
            text: ViewModel.execution.currentFileName
            elide: Text.ElideMiddle
        }
        Flow {
            Layout.fillWidth: true
            spacing: DesignSystem.spacingL
            Repeater {
                model: ["Sicher fortsetzbar", "Jeder Schritt wird gespeichert", "Bitte Laufwerke verbunden lassen"]
                RowLayout {
                    id: promise
                    required property string modelData
                    spacing: 6
                    Rectangle { width: 8; height: 8; radius: 4; color: DesignSystem.keep }
                    Text { text: promise.modelData; color: DesignSystem.textSecondary; font.pixelSize: DesignSystem.fontBody }
                }
            }
        }
        SecondaryButton {
            objectName: "cancelExecutionButton"
            text: "Sicher abbrechen"
            enabled: ViewModel.execution.isApplying
            onClicked: ViewModel.execution.cancelExecution()
        }
    }
}
