#include "ResumableSortError.h"

namespace kestrava {

QString ResumableSortError::description() const
{
    switch (kind_) {
    case Kind::sourceChanged:
        return QStringLiteral("Die Quelldatei „") + fileName_ + QStringLiteral("“ wurde seit der Bewertung verändert.");
    case Kind::verificationFailed:
        return QStringLiteral("Die Kopie von „") + fileName_ + QStringLiteral("“ konnte nicht verifiziert werden.");
    case Kind::operationAlreadyRunning:
        return QStringLiteral("Für diesen Zielordner läuft bereits eine Kestrava-Ausführung.");
    }
    return {};
}

} // namespace kestrava
