import QtQuick
import QtQuick.Controls
import Kestrava

// File, Edit and Help. Alt with a menu's underlined letter opens it, F10 the first one; there
// is no "New" item.
MenuBar {
    id: bar
    signal saveSession()
    signal loadSession()
    signal exportCsv()
    signal quit()
    signal showShortcuts()
    signal showAbout()

    // Opens the first menu, as F10 does on the desktop.
    function openFirstMenu() {
        const first = itemAt(0)
        if (first)
            first.triggered()
    }

    AppMenu {
        title: Help.fileMenuTitle
        Action {
            text: "Sitzung sichern …"
            shortcut: StandardKey.Save
            onTriggered: bar.saveSession()
        }
        Action {
            objectName: "loadSessionAction"
            text: "Sitzung laden …"
            shortcut: StandardKey.Open
            // Loading would reset the state a running sort or trash step works on.
            enabled: ViewModel.session.canOpenSessionDocument
            onTriggered: bar.loadSession()
        }
        MenuSeparator {}
        Action {
            text: "Entscheidungen als CSV exportieren …"
            onTriggered: bar.exportCsv()
        }
        MenuSeparator {}
        Action {
            text: "Beenden"
            shortcut: StandardKey.Quit
            onTriggered: bar.quit()
        }
    }
    AppMenu {
        title: Help.editMenuTitle
        Action {
            objectName: "undoAction"
            text: Help.undoText
            shortcut: StandardKey.Undo
            enabled: Shell.reviewCommandsEnabled
            onTriggered: Shell.undoLastDecision()
        }
        Action {
            objectName: "auditAction"
            text: Help.auditText
            enabled: Shell.reviewCommandsEnabled
            onTriggered: Shell.openAudit()
        }
    }
    AppMenu {
        title: Help.helpMenuTitle
        Action {
            objectName: "shortcutsAction"
            text: Help.shortcutsText
            shortcut: StandardKey.HelpContents
            onTriggered: bar.showShortcuts()
        }
        Action {
            objectName: "aboutAction"
            text: Help.aboutText
            onTriggered: bar.showAbout()
        }
    }
}
