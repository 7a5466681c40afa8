import QtQuick
import QtQuick.Dialogs
import Kestrava

// The file and folder choosers. They only turn a choice into a path for the view model.
Item {
    id: dialogs

    function chooseSource() { sourceDialog.open() }
    function chooseDestination() { destinationDialog.open() }
    function saveSession() {
        saveSessionDialog.currentFile = Shell.fileUrl(ViewModel.destinationBaseFolder.length > 0
            ? ViewModel.destinationBaseFolder + "/" + Shell.suggestedSessionName() : Shell.suggestedSessionName())
        saveSessionDialog.open()
    }
    function openSession() { openSessionDialog.open() }
    function importRecoveryCsv() { csvDialog.open() }
    function exportCsv() { exportCsvDialog.open() }
    function saveReport(callback) {
        reportDialog.callback = callback
        reportDialog.selectedFile = Shell.suggestedReportUrl()
        reportDialog.open()
    }

    FolderDialog {
        id: sourceDialog
        title: "Fotos auswählen"
        onAccepted: ViewModel.load(Shell.localPath(selectedFolder))
    }
    FolderDialog {
        id: destinationDialog
        title: "Zielbasis wählen"
        onAccepted: ViewModel.setDestinationBaseFolder(Shell.localPath(selectedFolder))
    }
    FileDialog {
        id: saveSessionDialog
        title: "Sitzung sichern"
        fileMode: FileDialog.SaveFile
        defaultSuffix: "kestrava"
        nameFilters: ["Kestrava-Sitzung (*.kestrava)"]
        onAccepted: ViewModel.session.saveSessionDocument(Shell.localPath(selectedFile))
    }
    FileDialog {
        id: openSessionDialog
        title: "Sitzung laden"
        fileMode: FileDialog.OpenFile
        nameFilters: ["Kestrava-Sitzung (*.kestrava *.json)", "Alle Dateien (*)"]
        onAccepted: ViewModel.session.openSessionDocument(Shell.localPath(selectedFile))
    }
    FileDialog {
        id: csvDialog
        title: "Recovery-CSV auswählen"
        fileMode: FileDialog.OpenFile
        nameFilters: ["CSV-Dateien (*.csv)", "Alle Dateien (*)"]
        onAccepted: csvFolderDialog.open()
    }
    FolderDialog {
        id: csvFolderDialog
        title: "Original-Fotoordner zuordnen"
        onAccepted: ViewModel.session.importRecoveryCsv(Shell.localPath(csvDialog.selectedFile), Shell.localPath(selectedFolder))
    }
    FileDialog {
        id: exportCsvDialog
        title: "Entscheidungen als CSV exportieren"
        fileMode: FileDialog.SaveFile
        defaultSuffix: "csv"
        currentFile: Shell.fileUrl(Shell.suggestedCsvName())
        nameFilters: ["CSV-Dateien (*.csv)"]
        onAccepted: Shell.exportDecisionsCsv(Shell.localPath(selectedFile))
    }
    FileDialog {
        id: reportDialog
        objectName: "reportDialog"
        property var callback
        title: "Bericht speichern"
        fileMode: FileDialog.SaveFile
        defaultSuffix: "txt"
        nameFilters: ["Textdateien (*.txt)"]
        onAccepted: if (callback) callback(Shell.localPath(selectedFile))
    }
}
