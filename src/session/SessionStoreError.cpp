#include "SessionStoreError.h"

namespace kestrava {

using namespace Qt::StringLiterals;

SessionStoreError SessionStoreError::unsupportedVersion(qint64 version)
{
    SessionStoreError error(Kind::unsupportedVersion);
    error.version_ = version;
    return error;
}

SessionStoreError SessionStoreError::csvInvalid(QString detail)
{
    return SessionStoreError(Kind::csvInvalid, std::move(detail));
}

SessionStoreError SessionStoreError::sourceFolderMissing(QString path)
{
    return SessionStoreError(Kind::sourceFolderMissing, std::move(path));
}

SessionStoreError SessionStoreError::corruptSession(QString diagnostic)
{
    SessionStoreError error(Kind::corruptSession);
    error.diagnostic_ = std::move(diagnostic);
    return error;
}

SessionStoreError SessionStoreError::csvHeaderMissing()
{
    return SessionStoreError(Kind::csvHeaderMissing);
}

SessionStoreError SessionStoreError::ambiguousRecoveryRow(QString fileName)
{
    return SessionStoreError(Kind::ambiguousRecoveryRow, std::move(fileName));
}

SessionStoreError SessionStoreError::sessionInUse(QString lockPath)
{
    return SessionStoreError(Kind::sessionInUse, std::move(lockPath));
}

QString SessionStoreError::description() const
{
    switch (kind_) {
    case Kind::unsupportedVersion:
        return u"Die Sitzungsversion "_s + QString::number(version_) + u" wird nicht unterstützt."_s;
    case Kind::csvInvalid:
        return u"Die CSV-Datei konnte nicht importiert werden: "_s + text_;
    case Kind::sourceFolderMissing:
        return u"Der ursprüngliche Fotoordner „"_s + text_ + u"“ wurde nicht gefunden."_s;
    case Kind::corruptSession:
        return u"Die gespeicherte Sitzung ist beschädigt."_s;
    case Kind::csvHeaderMissing:
        return u"Die CSV-Datei enthält nicht die erwarteten Spalten."_s;
    case Kind::ambiguousRecoveryRow:
        return u"„"_s + text_ + u"“ ist nicht eindeutig zuordenbar."_s;
    case Kind::sessionInUse:
        return u"Diese Sitzung wird gerade in einem anderen Kestrava-Fenster oder von kestrava-cli bearbeitet. "
               u"Bitte schließe das andere Fenster oder warte, bis der Befehl fertig ist, und versuche es dann "
               u"erneut."_s;
    }
    return {};
}

} // namespace kestrava
