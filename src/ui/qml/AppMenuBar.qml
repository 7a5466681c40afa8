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
            // Qt 6.4's linter cannot resolve the StandardKey value type; the keys are real.
            shortcut: StandardKey.Save // qmllint disable unqualified
            onTriggered: bar.saveSession()
        }
        Action {
            objectName: "loadSessionAction"
            text: "Sitzung laden …"
            shortcut: StandardKey.Open // qmllint disable unqualified
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
            shortcut: StandardKey.Quit // qmllint disable unqualified
            onTriggered: bar.quit()
        }
    }
    AppMenu {
        title: Help.editMenuTitle
        Action {
            objectName: "undoAction"
            text: Help.undoText
            shortcut: StandardKey.Undo // qmllint disable unqualified
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
            shortcut: StandardKey.HelpContents // qmllint disable unqualified
            onTriggered: bar.showShortcuts()
        }
        Action {
            objectName: "aboutAction"
            text: Help.aboutText
            onTriggered: bar.showAbout()
        }
    }
}
