#include "TrashTransactionError.h"

namespace kestrava {

QString TrashTransactionError::description() const
{
    const auto quoted = [this] { return QStringLiteral("„%1“").arg(text_); };
    switch (kind_) {
    case Kind::fileUnavailable:
        return quoted() + QStringLiteral(" ist nicht mehr erreichbar.");
    case Kind::unsupportedItem:
        return quoted() + QStringLiteral(" ist keine unterstützte reguläre Datei.");
    case Kind::multipleHardLinks:
        return quoted() + QStringLiteral(" besitzt mehrere Hardlinks und wurde aus Sicherheitsgründen ausgeschlossen.");
    case Kind::sourceChanged:
        return QStringLiteral("Das Original %1 wurde seit der Sicherheitskopie verändert.").arg(quoted());
    case Kind::stagingChanged:
        return QStringLiteral("Die Sicherheitskopie von %1 fehlt oder wurde verändert.").arg(quoted());
    case Kind::stagingCollision:
        return QStringLiteral("Für %1 existiert bereits ein unerwartetes Stagingziel.").arg(quoted());
    case Kind::insufficientStorage:
        return text_;
    case Kind::unsupportedVolume:
        return QStringLiteral("Der Papierkorb wird auf dem Volume %1 nicht zuverlässig unterstützt.").arg(quoted());
    case Kind::journalUnavailable:
        return QStringLiteral("Das Sicherheitsjournal ist nicht dauerhaft verfügbar: ") + text_;
    case Kind::transactionNeedsReview:
        return quoted() + QStringLiteral(" benötigt eine manuelle Prüfung. Es wird nichts automatisch fortgesetzt.");
    case Kind::receiptInvalid:
        return QStringLiteral("Der Papierkorb-Nachweis für %1 konnte nicht verifiziert werden.").arg(quoted());
    case Kind::journalCorrupt:
        return QStringLiteral("Das Sicherheitsjournal ist unvollständig oder beschädigt. Es wird nichts automatisch verändert.");
    case Kind::outsideSession:
        return text_;
    case Kind::transactionAlreadyRunning:
        return QStringLiteral("Eine andere destruktive Kestrava-Sitzung läuft bereits.");
    }
    return {};
}

} // namespace kestrava
