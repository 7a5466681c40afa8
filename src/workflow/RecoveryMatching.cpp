#include "RecoveryMatching.h"
#include "session/SessionStoreError.h"

namespace kestrava {

namespace {

QString rowPathKey(const RecoveryCSVRow& row)
{
    QString path = row.relativePath->trimmed().toLower();
    while (path.startsWith(QLatin1Char('/')))
        path.remove(0, 1);
    const QString name = row.filename.toLower();
    // Exports write the full relative path; hand-made lists often give the folder only.
    if (path == name || path.endsWith(QLatin1Char('/') + name))
        return path;
    return path.isEmpty() ? name : path + QLatin1Char('/') + name;
}

} // namespace

RecoveryMatch matchRecoveryRows(const QList<RecoveryCSVRow>& rows, const QList<PhotoItem>& inventory)
{
    QMultiHash<QString, qsizetype> byPath;
    QMultiHash<QString, qsizetype> byName;
    byPath.reserve(inventory.size());
    byName.reserve(inventory.size());
    for (qsizetype i = 0; i < inventory.size(); ++i) {
        byPath.insert(inventory[i].relativePath.toLower(), i);
        byName.insert(inventory[i].sourceURL.fileName().toLower(), i);
    }

    RecoveryMatch match;
    for (const RecoveryCSVRow& row : rows) {
        const bool hasPath = row.relativePath && !row.relativePath->trimmed().isEmpty();
        QList<qsizetype> candidates =
            hasPath ? byPath.values(rowPathKey(row)) : byName.values(row.filename.toLower());
        if (candidates.size() > 1) {
            QList<qsizetype> sameFormat;
            for (qsizetype i : candidates)
                if (inventory[i].formatGroup == row.format)
                    sameFormat.append(i);
            if (!sameFormat.isEmpty())
                candidates = sameFormat;
        }
        if (candidates.size() > 1)
            throw SessionStoreError::ambiguousRecoveryRow(row.filename);
        if (candidates.isEmpty()) {
            ++match.unmatchedRows;
            continue;
        }
        match.decisions.insert(inventory[candidates.first()].sourceURL, row.decision);
        ++match.matchedRows;
    }
    return match;
}

} // namespace kestrava
