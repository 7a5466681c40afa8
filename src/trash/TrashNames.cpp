#include "TrashNames.h"

#include <QCryptographicHash>

namespace kestrava::TrashNames {

namespace {

qsizetype bytes(const QString& text)
{
    return text.toUtf8().size();
}

} // namespace

QString fitting(const QString& name, int maxBytes)
{
    if (bytes(name) <= maxBytes)
        return name;
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    // An "extension" longer than a few characters is part of the name, not a format.
    const QString extension = dot > 0 && name.size() - dot <= 16 ? name.mid(dot) : QString();
    QString stem = name.left(name.size() - extension.size());
    const QString marker = QLatin1Char('~')
        + QString::fromLatin1(QCryptographicHash::hash(name.toUtf8(), QCryptographicHash::Sha256).toHex().left(8));
    while (!stem.isEmpty() && bytes(stem) + bytes(marker) + bytes(extension) > maxBytes) {
        stem.chop(1);
        if (!stem.isEmpty() && stem.back().isHighSurrogate())
            stem.chop(1);
    }
    return stem + marker + extension;
}

QString forTrash(const QString& name)
{
    return fitting(name, maxNameBytes - int(qstrlen(".trashinfo")));
}

QString forStaging(const QString& name)
{
    return fitting(name, maxNameBytes - int(qstrlen(".partial")));
}

} // namespace kestrava::TrashNames
