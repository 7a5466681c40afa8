#include "SidecarListing.h"

#include "SidecarRule.h"

#include <QDir>
#include <QFile>

#include <sys/stat.h>

namespace kestrava {

namespace {

// Asked with lstat: a link to a sidecar is not the sidecar, and a failed answer counts as none.
bool isRegularNonLink(const QString& path)
{
    struct stat info {};
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0 && S_ISREG(info.st_mode);
}

QHash<QString, QStringList> sidecarsIn(const QString& folder)
{
    QHash<QString, QStringList> byKey;
    const QStringList names =
        QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
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

QStringList SidecarListing::sidecarsOf(const QString& photoPath)
{
    const qsizetype slash = photoPath.lastIndexOf(QLatin1Char('/'));
    const QString folder = slash <= 0 ? QStringLiteral("/") : photoPath.left(slash);
    auto it = byFolder_.find(folder);
    if (it == byFolder_.end())
        it = byFolder_.insert(folder, sidecarsIn(folder));
    return it->value(sidecarPairingKey(photoPath));
}

} // namespace kestrava
