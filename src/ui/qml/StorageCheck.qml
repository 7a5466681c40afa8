import QtQuick
import QtQuick.Layouts
import Kestrava

RowLayout {
    id: check
    spacing: DesignSystem.spacingS
    readonly property bool insufficient: ViewModel.execution.storageInsufficient
    Rectangle {
        width: 8; height: 8; radius: 4
        color: ViewModel.execution.isCheckingStorage || !ViewModel.execution.hasStorageEstimate ? DesignSystem.textMuted
             : (check.insufficient ? DesignSystem.reject : DesignSystem.keep)
    }
    Body {
        objectName: "storageCheckText"
        Layout.fillWidth: true
        text: ViewModel.execution.storageCheckText
        color: check.insufficient ? DesignSystem.reject : DesignSystem.textSecondary
        wrapMode: Text.WordWrap
    }
}
