#include "PhotoScannerError.h"

namespace kestrava {

PhotoScannerError PhotoScannerError::folderUnavailable(QString folderPath, int errorNumber)
{
    return PhotoScannerError(Kind::folderUnavailable, std::move(folderPath), errorNumber);
}

QString PhotoScannerError::description() const
{
    switch (kind_) {
    case Kind::folderUnavailable:
        return QStringLiteral("Der ausgewählte Ordner konnte nicht gelesen werden.");
    }
    return {};
}

} // namespace kestrava

namespace kestrava {

QString skippedEntriesNote(int skippedEntryCount)
{
    if (skippedEntryCount <= 0)
        return {};
    if (skippedEntryCount == 1)
        return QStringLiteral("1 Eintrag (Datei oder Unterordner) konnte nicht gelesen werden (ungültig kodierter "
                              "Name oder fehlende Leserechte) und ist nicht Teil dieser Sortierung; er bleibt "
                              "unverändert im Quellordner.");
    return QStringLiteral("%1 Einträge (Dateien oder Unterordner) konnten nicht gelesen werden (ungültig kodierte "
                          "Namen oder fehlende Leserechte) und sind nicht Teil dieser Sortierung; sie bleiben "
                          "unverändert im Quellordner.")
        .arg(skippedEntryCount);
}

} // namespace kestrava
