#include "SidecarFinder.h"

#include "model/SidecarRule.h"

#include <QDir>
#include <QFile>

#include <sys/stat.h>

namespace kestrava::ResumableSortExecutor {

namespace {

bool isRegularNonLink(const QString& path)
{
    struct stat info {};
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0 && S_ISREG(info.st_mode);
}

QHash<QString, QStringList> sidecarsIn(const QString& folder)
{
    QHash<QString, QStringList> byKey;
    const QStringList names =
        QDir(folder).entryList(QDir::Files | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
    for (const QString& name : names) {
        if (!isSidecarName(name))
            continue;
        const QString path = folder == QLatin1String("/") ? QLatin1Char('/') + name : folder + QLatin1Char('/') + name;
        if (isRegularNonLink(path))
            byKey[sidecarPairingKey(path)].append(path);
    }
    return byKey;
}

} // namespace

std::optional<QString> SidecarFinder::sidecarOf(const QString& photoPath)
{
    const qsizetype slash = photoPath.lastIndexOf(QLatin1Char('/'));
    const QString folder = slash <= 0 ? QStringLiteral("/") : photoPath.left(slash);
    auto it = byFolder_.find(folder);
    if (it == byFolder_.end())
        it = byFolder_.insert(folder, sidecarsIn(folder));
    const QStringList found = it->value(sidecarPairingKey(photoPath));
    if (found.size() != 1)
        return std::nullopt;
    return found.first();
}

} // namespace kestrava::ResumableSortExecutor
