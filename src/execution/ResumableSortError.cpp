#include "ResumableSortError.h"

namespace kestrava {

QString ResumableSortError::description() const
{
    const QString quoted = QStringLiteral("„") + fileName_ + QStringLiteral("“");
    switch (kind_) {
    case Kind::sourceChanged:
        return QStringLiteral("Die Quelldatei ") + quoted + QStringLiteral(" wurde seit der Bewertung verändert.");
    case Kind::verificationFailed:
        return QStringLiteral("Die Kopie von ") + quoted + QStringLiteral(" konnte nicht verifiziert werden.");
    case Kind::operationAlreadyRunning:
        return QStringLiteral("Für diesen Zielordner läuft bereits eine Kestrava-Ausführung.");
    case Kind::sourceFolderInUse:
        return QStringLiteral("Für den Quellordner ") + quoted
            + QStringLiteral(" läuft bereits eine Kestrava-Ausführung. Warte, bis sie fertig ist.");
    case Kind::sourceReadOnly:
        return QStringLiteral("Der Quellordner ") + quoted
            + QStringLiteral(" ist schreibgeschützt: Originale können dort nicht entfernt werden. Es wurde nichts "
                             "kopiert. Hebe den Schreibschutz auf oder wähle „Sicher kopieren“.");
    case Kind::resultReadOnly:
        return QStringLiteral("Der Ergebnisordner ") + quoted
            + QStringLiteral(" ist schreibgeschützt. Es wurde nichts verändert. Hebe den Schreibschutz auf und "
                             "setze die Sortierung dann fort.");
    case Kind::originalNotRemoved:
        return QStringLiteral("Die Kopie von ") + quoted
            + QStringLiteral(" ist geprüft, aber das Original konnte nicht entfernt werden (") + reason_
            + QStringLiteral("). Beim Fortsetzen wird nur noch das Original entfernt.");
    case Kind::destinationFull:
        return QStringLiteral("Auf dem Ziel ist kein Speicherplatz mehr frei. Der Lauf wurde angehalten; die übrigen "
                              "Dateien bleiben ausstehend und können fortgesetzt werden, sobald Platz frei ist.");
    case Kind::ratingNotWritten:
        return QStringLiteral("Die Bewertung ") + quoted + QStringLiteral(" konnte nicht geschrieben werden (") + reason_
            + QStringLiteral("). Das Foto ist unverändert im Ergebnisordner; beim Fortsetzen wird sie erneut geschrieben.");
    case Kind::ratingSidecarTaken:
        return QStringLiteral("Im Ergebnisordner liegt bereits eine fremde Datei ") + quoted
            + QStringLiteral(". Sie bleibt unverändert; die Bewertung wurde dort nicht eingetragen. Verschiebe die "
                             "Datei und setze fort, damit die Bewertung geschrieben wird.");
    case Kind::ratingSidecarUnreadable:
        return QStringLiteral("Die XMP-Begleitdatei ") + quoted
            + QStringLiteral(" ist keine lesbare XMP-Datei. Sie bleibt unverändert; die Bewertung wurde nicht "
                             "eingetragen. Ersetze sie durch eine lesbare Fassung und setze fort, damit die Bewertung "
                             "geschrieben wird.");
    case Kind::ratingWaitsForPhoto:
        return QStringLiteral("Die Bewertung ") + quoted
            + QStringLiteral(" wird geschrieben, sobald ihr Foto im Ergebnisordner ist.");
    }
    return {};
}

} // namespace kestrava
