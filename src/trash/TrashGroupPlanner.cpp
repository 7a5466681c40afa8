#include "TrashGroupPlanner.h"

#include "model/SidecarListing.h"
#include "model/SidecarRule.h"
#include "model/Text.h"

#include <QHash>
#include <algorithm>

namespace kestrava::TrashGroupPlanner {

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

    SidecarListing sidecarListing;
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

        const QStringList sidecars = sidecarListing.sidecarsOf(members.first().sourceURL.path());
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
