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
        Heading {
            level: 2
            Layout.alignment: Qt.AlignHCenter
            text: ViewModel.sourceFolderName
            elide: Text.ElideMiddle
            Layout.maximumWidth: parent.width
        }
        Lead {
            Layout.alignment: Qt.AlignHCenter
            text: "Wir sehen uns den Ordner an"
        }
        Body {
            Layout.alignment: Qt.AlignHCenter
            text: "Fotos werden vorbereitet"
        }
        Caption {
            Layout.alignment: Qt.AlignHCenter
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            text: "Noch werden keine Bilder geöffnet und keine Dateien verändert."
            wrapMode: Text.WordWrap
        }
    }
}
