import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Kestrava

// Start of a sort, resumption, recovery.
Item {
    id: screen
    property AppDialogs dialogs

    ColumnLayout {
        anchors.centerIn: parent
        width: Math.min(parent.width - 2 * DesignSystem.spacingXL, 640)
        spacing: DesignSystem.spacingL

        Text {
            Layout.fillWidth: true
            text: "Nur die Fotos,\ndie bleiben sollen."
            color: DesignSystem.textPrimary
            font.pixelSize: DesignSystem.fontDisplay + 6
            font.weight: Font.Bold
            lineHeight: 1.05
        }
        Lead {
            Layout.fillWidth: true
            text: "Entscheide mit den Pfeiltasten. Kestrava hält JPEG und RAW zusammen und organisiert alles sicher für dich."
            wrapMode: Text.WordWrap
            lineHeight: 1.2
        }
        RowLayout {
            spacing: DesignSystem.spacingM
            PrimaryButton {
                objectName: "chooseSourceButton"
                text: "Fotos auswählen"
                onClicked: screen.dialogs.chooseSource()
            }
            SecondaryButton {
                id: recoveryButton
                text: "Weitere Wiederherstellung"
                onClicked: recoveryMenu.open()
                Menu {
                    id: recoveryMenu
                    y: recoveryButton.height + 4
                    MenuItem {
                        text: "Recovery-CSV importieren …"
                        onTriggered: screen.dialogs.importRecoveryCsv()
                    }
                    MenuItem {
                        text: "Alte JSON-Sitzung öffnen …"
                        onTriggered: screen.dialogs.openSession()
                    }
                }
            }
        }
        ResumeSessionCard {
            Layout.fillWidth: true
            visible: ViewModel.session.showResumeChoice
        }
        Caption {
            text: "Lokal · kein Upload · automatisch gesichert"
        }
    }
}
