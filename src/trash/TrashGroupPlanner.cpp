#include "TrashGroupPlanner.h"

#include "model/SidecarRule.h"
#include "model/Text.h"

#include <QDir>
#include <QFile>
#include <QHash>
#include <algorithm>
#include <sys/stat.h>

namespace kestrava::TrashGroupPlanner {

namespace {

QString folderOf(const QString& path)
{
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    return slash <= 0 ? QStringLiteral("/") : path.left(slash);
}

QString nameOf(const QString& path)
{
    return path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
}

QString stemOf(const QString& name)
{
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    return dot <= 0 ? name : name.left(dot);
}

QString suffixOf(const QString& name)
{
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    return dot <= 0 ? QString() : name.mid(dot + 1);
}

QString foldedStem(const QString& name)
{
    return text::nfc(stemOf(name)).toLower();
}

// Regular and not a symbolic link, asked with lstat; a failed answer counts as neither.
bool isRegularNonLink(const QString& path)
{
    struct stat info {};
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0 && S_ISREG(info.st_mode);
}

// One listing per folder per build: thousands of groups usually share one folder.
class SidecarFinder {
public:
    QStringList sidecarsFor(const QString& folder, const QString& foldedPhotoStem)
    {
        auto it = byFolder_.find(folder);
        if (it == byFolder_.end())
            it = byFolder_.insert(folder, list(folder));
        return it->value(foldedPhotoStem);
    }

private:
    static QHash<QString, QStringList> list(const QString& folder)
    {
        QHash<QString, QStringList> byStem;
        const QStringList names = QDir(folder).entryList(
            QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
        for (const QString& name : names) {
            if (suffixOf(name).toLower() != QLatin1String("xmp"))
                continue;
            const QString path = folder == QLatin1String("/") ? QLatin1Char('/') + name : folder + QLatin1Char('/') + name;
            if (isRegularNonLink(path))
                byStem[foldedStem(name)].append(path);
        }
        return byStem;
    }

    QHash<QString, QHash<QString, QStringList>> byFolder_;
};

} // namespace

QString pairingKey(const QString& path)
{
    return sidecarPairingKey(path);
}

bool shouldAttachSidecar(const QList<PhotoItem>& photos, const QList<PhotoItem>& allPeers)
{
    // The same rule the sort follows, so a sidecar never goes one way and its photo another.
    return kestrava::shouldAttachSidecar(photos, allPeers);
}

QList<TrashGroup> build(const QList<PhotoItem>& photos, const QList<PhotoItem>& allPhotos)
{
    QList<std::pair<QCollatorSortKey, PhotoItem>> sorted;
    sorted.reserve(photos.size());
    for (const auto& photo : photos)
        sorted.append({text::naturalSortKey(photo.sourceURL.path()), photo});
    std::stable_sort(sorted.begin(), sorted.end(), [](const auto& a, const auto& b) {
        const int order = a.first.compare(b.first);
        return order != 0 ? order < 0 : a.second.sourceURL.path() < b.second.sourceURL.path();
    });

    QStringList keyOrder;
    QHash<QString, QList<PhotoItem>> byKey;
    for (const auto& [sortKey, photo] : sorted) {
        const QString key = pairingKey(photo.sourceURL.path());
        auto it = byKey.find(key);
        if (it == byKey.end()) {
            keyOrder.append(key);
            it = byKey.insert(key, {});
        }
        it->append(photo);
    }

    QHash<QString, QList<PhotoItem>> peersByKey;
    for (const auto& photo : allPhotos.isEmpty() ? photos : allPhotos)
        peersByKey[pairingKey(photo.sourceURL.path())].append(photo);

    SidecarFinder finder;
    QList<TrashGroup> groups;
    groups.reserve(keyOrder.size());
    for (const QString& key : keyOrder) {
        const QList<PhotoItem>& members = byKey.value(key);
        TrashGroup group;
        group.id = QUuid::createUuid();
        for (const auto& photo : members)
            group.members.append({photo.sourceURL, photo.sourceURL.fileName()});

        QList<PhotoItem> peers = peersByKey.value(key);
        for (const auto& photo : members)
            if (!peers.contains(photo))
                peers.append(photo);

        const QString firstPath = members.first().sourceURL.path();
        const QStringList sidecars = finder.sidecarsFor(folderOf(firstPath), foldedStem(nameOf(firstPath)));
        if (sidecars.size() > 1) {
            group.validationError = QStringLiteral("Mehrere XMP-Sidecars für ") + members.first().sourceURL.fileName();
        } else if (sidecars.size() == 1 && TrashGroupPlanner::shouldAttachSidecar(members, peers)) {
            const FileUrl sidecar = FileUrl::fromLocalPath(sidecars.first());
            group.members.append({sidecar, sidecar.fileName()});
        }
        groups.append(group);
    }
    return groups;
}

} // namespace kestrava::TrashGroupPlanner
