import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kestrava

// A scan in progress; nothing to do but wait.
Item {
    ColumnLayout {
        anchors.centerIn: parent
        width: Math.min(parent.width - 80, 560)
        spacing: DesignSystem.spacingM
        BusyIndicator {
            Layout.alignment: Qt.AlignHCenter
            running: visible
        }
        Text {
            Layout.alignment: Qt.AlignHCenter
            text: ViewModel.sourceFolderName
            color: DesignSystem.textPrimary
            font.pixelSize: DesignSystem.fontTitle
            font.weight: Font.DemiBold
            elide: Text.ElideMiddle
            Layout.maximumWidth: parent.width
        }
        Text {
            Layout.alignment: Qt.AlignHCenter
            text: "Wir sehen uns den Ordner an"
            color: DesignSystem.textSecondary
            font.pixelSize: DesignSystem.fontHeading
        }
        Text {
            Layout.alignment: Qt.AlignHCenter
            text: "Fotos werden vorbereitet"
            color: DesignSystem.textSecondary
            font.pixelSize: DesignSystem.fontBody
        }
        Text {
            Layout.alignment: Qt.AlignHCenter
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            text: "Noch werden keine Bilder geöffnet und keine Dateien verändert."
            color: DesignSystem.textMuted
            font.pixelSize: DesignSystem.fontCaption
            wrapMode: Text.WordWrap
        }
    }
}
