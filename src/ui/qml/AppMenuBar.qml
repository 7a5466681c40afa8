import QtQuick
import QtQuick.Controls
import Kestrava

// File menu: the session commands and the decision export; there is no "New" item.
MenuBar {
    id: bar
    signal saveSession()
    signal loadSession()
    signal exportCsv()
    signal quit()
    Menu {
        title: "Datei"
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
}
