import QtQuick
import QtQuick.Layouts
import Kestrava

RowLayout {
    id: check
    spacing: DesignSystem.spacingS
    readonly property var estimate: ViewModel.execution.storageEstimate
    readonly property bool insufficient: !!estimate && estimate.isSufficient === false
    Rectangle {
        width: 8; height: 8; radius: 4
        color: ViewModel.execution.isCheckingStorage || !check.estimate ? DesignSystem.textMuted
             : (check.insufficient ? DesignSystem.reject : DesignSystem.keep)
    }
    Text {
        objectName: "storageCheckText"
        Layout.fillWidth: true
        text: Texts.storageCheckText(ViewModel.destinationBaseFolder, ViewModel.execution.isCheckingStorage, ViewModel.execution.storageEstimate)
        color: check.insufficient ? DesignSystem.reject : DesignSystem.textSecondary
        font.pixelSize: DesignSystem.fontBody
        wrapMode: Text.WordWrap
    }
}
