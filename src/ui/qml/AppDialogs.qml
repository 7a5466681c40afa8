import QtQuick
import Kestrava

// The screens' way to the file and folder dialogs, which live in C++ (Shell.dialogs).
QtObject {
    function chooseSource() { Shell.dialogs.chooseSource() }
    function chooseDestination() { Shell.dialogs.chooseDestination() }
    function saveSession() { Shell.dialogs.saveSession() }
    function openSession() { Shell.dialogs.openSession() }
    function importRecoveryCsv() { Shell.dialogs.importRecoveryCsv() }
    function exportCsv() { Shell.dialogs.exportCsv() }
    function saveReport() { Shell.dialogs.saveReport() }
}
