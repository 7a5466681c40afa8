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
        return QStringLiteral("1 Datei oder Unterordner war nicht lesbar (ungültig kodierter Name oder fehlende "
                              "Leserechte): nicht Teil dieser Sortierung, bleibt unverändert im Quellordner.");
    return QStringLiteral("%1 Dateien oder Unterordner waren nicht lesbar (ungültig kodierte Namen oder fehlende "
                          "Leserechte): nicht Teil dieser Sortierung, bleiben unverändert im Quellordner.")
        .arg(skippedEntryCount);
}

} // namespace kestrava
