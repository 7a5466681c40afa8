#include "SortExecutionPlan.h"

#include "RatingPlanner.h"
#include "StoragePreflight.h"
#include "TransactionalCopy.h"

#include "model/SidecarListing.h"
#include "model/SidecarRule.h"
#include "model/Text.h"
#include "platform/DurableFile.h"
#include "platform/FileSystemError.h"
#include "trash/TrashGroupPlanner.h"

#include <QFile>
#include <QHash>

#include <algorithm>
#include <limits>
#include <numeric>
#include <optional>
#include <sys/stat.h>

namespace kestrava::ResumableSortExecutor {

namespace {

enum class Reuse { none, skip, sameName };

// What a recorded outcome means for this run's destination of the file.
Reuse reuseOf(const ExecutionRecord* record, const ExistsFunction& exists, const SameContentFunction& sameContent,
              const FileUrl& runFolder)
{
    if (!record || !record->destinationPath || record->destinationPath->isEmpty())
        return Reuse::none;
    const bool present = exists(*record->destinationPath);
    switch (record->status) {
    case ExecutionActionStatus::completed:
        return Reuse::skip;
    case ExecutionActionStatus::pending:
        if (!present)
            return Reuse::sameName;
        // A source that is gone was moved there by the earlier run; one still present must
        // prove that the file at its destination is its own copy.
        if (!exists(record->sourcePath) || sameContent(record->sourcePath, *record->destinationPath))
            return Reuse::skip;
        // The earlier run was killed after reserving the name and before renaming onto it:
        // the empty file is its own, and the run (under its lock) removes it and takes the name.
        if (isAbandonedReservation(*record->destinationPath, runFolder))
            return Reuse::sameName;
        return Reuse::none;
    case ExecutionActionStatus::failed:
    case ExecutionActionStatus::skipped:
        // A failed file never leaves anything visible behind, so what stands at its old name
        // now belongs to someone else.
        return present ? Reuse::none : Reuse::sameName;
    }
    return Reuse::none;
}

QList<qsizetype> fileBrowserOrder(const QList<PhotoItem>& photos)
{
    QList<QCollatorSortKey> keys;
    keys.reserve(photos.size());
    for (const PhotoItem& photo : photos)
        keys.append(text::naturalSortKey(photo.relativePath.isEmpty() ? photo.sourceURL.fileName() : photo.relativePath));
    QList<qsizetype> order(photos.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](qsizetype a, qsizetype b) { return keys[a].compare(keys[b]) < 0; });
    return order;
}

// One file of the plan: a photo, or the XMP sidecar travelling with the photo at `photoIndex`
// (the entry just before it).
struct PlanEntry {
    PhotoItem item;
    qsizetype photoIndex = -1;
    QString sidecarName; // a photo's sidecar, when it has one
};

// The sidecar as a file of the plan: the photo's decision and place, the sidecar's own file.
std::optional<PhotoItem> sidecarItem(const PhotoItem& photo, const QString& sidecarPath)
{
    struct stat info {};
    if (::lstat(QFile::encodeName(sidecarPath).constData(), &info) != 0)
        return std::nullopt;
    PhotoItem sidecar = photo;
    sidecar.sourceURL = FileUrl::fromLocalPath(sidecarPath);
    const QString name = sidecar.sourceURL.fileName();
    const qsizetype slash = photo.relativePath.lastIndexOf(QLatin1Char('/'));
    sidecar.relativePath = slash < 0 ? name : photo.relativePath.left(slash + 1) + name;
    sidecar.fileSize = qint64(info.st_size);
    sidecar.modificationDate = QDateTime::fromMSecsSinceEpoch(
        qint64(info.st_mtim.tv_sec) * 1000 + info.st_mtim.tv_nsec / 1000000, Qt::UTC);
    return sidecar;
}

// The selected photos in `order`, each followed by the sidecar the shared rule gives it. A
// sidecar goes with one photo only, the first in the order that may take it.
QList<PlanEntry> withSidecars(const QList<PhotoItem>& selected, const QList<qsizetype>& order,
                              const QList<PhotoItem>& allPhotos)
{
    QHash<QString, QList<PhotoItem>> peers;
    for (const PhotoItem& photo : allPhotos)
        peers[sidecarPairingKey(photo.sourceURL.path())].append(photo);
    SidecarListing listing;
    QSet<QString> taken;
    QList<PlanEntry> entries;
    entries.reserve(selected.size());
    for (qsizetype index : order) {
        const PhotoItem& photo = selected[index];
        entries.append(PlanEntry{photo, -1, {}});
        if (!shouldAttachSidecar({photo}, peers.value(sidecarPairingKey(photo.sourceURL.path()))))
            continue;
        // Two sidecars for one photo: which is its own is not for a run to guess, so both stay.
        const QStringList found = listing.sidecarsOf(photo.sourceURL.path());
        const std::optional<QString> path = found.size() == 1 ? std::optional(found.first()) : std::nullopt;
        if (!path || taken.contains(*path))
            continue;
        const std::optional<PhotoItem> sidecar = sidecarItem(photo, *path);
        if (!sidecar)
            continue;
        taken.insert(*path);
        entries.last().sidecarName = sidecar->sourceURL.fileName();
        entries.append(PlanEntry{*sidecar, entries.size() - 1, {}});
    }
    return entries;
}

FileUrl sidecarPathBeside(const FileUrl& photoDestination, const QString& sidecarName)
{
    return photoDestination.parent().appending(sidecarNameFor(photoDestination.fileName(), sidecarName));
}

// A photo with a sidecar takes a name only when the sidecar's name beside it is free too, so
// the two keep one stem ("IMG_1 2.CR3" and "IMG_1 2.xmp"). With rating sidecars every photo
// needs its "<stem>.xmp": free on disk, or the sidecar of a photo sharing the stem.
ExistsFunction nameFreeForPhotoAndSidecar(const PlanEntry& entry, const QSet<QString>& reserved,
                                          const QSet<QString>& travelled, bool ratings,
                                          const ExistsFunction& fileManager)
{
    if (entry.sidecarName.isEmpty() && !ratings)
        return fileManager;
    return [&entry, &reserved, &travelled, fileManager](const QString& path) {
        if (fileManager(path))
            return true;
        if (!entry.sidecarName.isEmpty()) {
            const FileUrl sidecar = sidecarPathBeside(FileUrl::fromLocalPath(path), entry.sidecarName);
            return reserved.contains(sidecar.path()) || fileManager(sidecar.path());
        }
        const QString rating = ratingSidecarBeside(FileUrl::fromLocalPath(path)).path();
        return fileManager(rating) || (reserved.contains(rating) && !travelled.contains(rating));
    };
}

// Beside the photo under the photo's stem; only when an earlier run already gave that name
// away (the photo kept a recorded name) does the sidecar get a numbered one of its own.
FileUrl sidecarDestination(const PlanEntry& entry, const FileUrl& photoDestination, const QSet<QString>& reserved,
                           const ExistsFunction& fileManager)
{
    const FileUrl beside = sidecarPathBeside(photoDestination, entry.item.sourceURL.fileName());
    if (!reserved.contains(beside.path()) && !fileManager(beside.path()))
        return beside;
    return uniqueDestination(entry.item, photoDestination.parent(), reserved, fileManager);
}

} // namespace

bool sameContentOnDisk(const QString& source, const QString& destination)
{
    try {
        return sha256(FileUrl::fromLocalPath(source)) == sha256(FileUrl::fromLocalPath(destination));
    } catch (const FileSystemError&) {
        return false;
    }
}

bool receivesAction(const PhotoItem& item, SortOperationMode mode)
{
    if (!item.decision)
        return false;
    if (mode == SortOperationMode::organizeAndTrash)
        return *item.decision != PhotoDecision::del;
    return true;
}

SortExecutionPlan buildPlan(const QList<PhotoItem>& items, const SortOptions& options,
                            const QMap<QString, ExecutionRecord>& existingRecords, const ExistsFunction& fileManager,
                            const SameContentFunction& sameContent)
{
    SortExecutionPlan plan;
    plan.options = options;

    QList<PhotoItem> selected;
    QList<PhotoItem> deleted;
    for (const PhotoItem& item : items) {
        if (receivesAction(item, options.operationMode))
            selected.append(item);
        else if (options.operationMode == SortOperationMode::organizeAndTrash && item.decision == PhotoDecision::del)
            deleted.append(item);
        else
            ++plan.untouchedCount;
    }

    const PlannedActionKind kind =
        options.operationMode == SortOperationMode::safeCopy ? PlannedActionKind::copy : PlannedActionKind::move;
    const QList<PlanEntry> entries = withSidecars(selected, fileBrowserOrder(selected), items);
    const std::optional<int> keepStars = plannedKeepStars(options, existingRecords);

    // First pass: destinations promised by earlier runs.
    QSet<QString> reserved;
    QSet<QString> travelled; // the names of sidecars going along with their photos
    QList<Reuse> reuse(entries.size(), Reuse::none);
    QList<QString> recordedPath(entries.size());
    for (qsizetype index = 0; index < entries.size(); ++index) {
        const auto found = existingRecords.constFind(entries[index].item.sourceURL.path());
        const ExecutionRecord* record = found == existingRecords.constEnd() ? nullptr : &found.value();
        reuse[index] = reuseOf(record, fileManager, sameContent, options.destinationRoot);
        if (reuse[index] == Reuse::none)
            continue;
        const QString path = FileUrl::fromLocalPath(*record->destinationPath).path();
        if (reserved.contains(path)) {
            reuse[index] = Reuse::none; // two records claiming one name: the later gets a new one
        } else {
            reserved.insert(path);
            recordedPath[index] = path;
            if (entries[index].photoIndex >= 0)
                travelled.insert(path);
        }
    }

    plan.actions.reserve(entries.size());
    for (qsizetype index = 0; index < entries.size(); ++index) {
        const PlanEntry& entry = entries[index];
        PlannedAction action;
        action.id = entry.item.sourceURL.path();
        action.item = entry.item;
        action.kind = kind;
        // A sidecar not yet in place follows its photo: when a stranger took the name promised
        // to the photo, the sidecar's promise beside that name is dropped with it.
        if (entry.photoIndex >= 0 && reuse[index] == Reuse::sameName && reuse[entry.photoIndex] == Reuse::none)
            reuse[index] = Reuse::none;
        if (reuse[index] != Reuse::none) {
            action.destinationURL = FileUrl::fromLocalPath(recordedPath[index]);
            action.shouldSkip = reuse[index] == Reuse::skip;
        } else if (entry.photoIndex >= 0) {
            action.destinationURL =
                sidecarDestination(entry, plan.actions[entry.photoIndex].destinationURL, reserved, fileManager);
            reserved.insert(action.destinationURL.path());
            travelled.insert(action.destinationURL.path());
        } else {
            const FileUrl folder =
                options.destinationRoot.appending(DestinationPlanner::relativeDirectory(entry.item, options));
            action.destinationURL = uniqueDestination(entry.item, folder, reserved,
                                                      nameFreeForPhotoAndSidecar(entry, reserved, travelled,
                                                                                 keepStars.has_value(), fileManager));
            reserved.insert(action.destinationURL.path());
        }
        const qint64 size = StoragePreflight::effectiveSize(entry.item);
        if (size > std::numeric_limits<qint64>::max() - plan.totalBytes)
            qFatal("Execution plan: total size overflows");
        plan.totalBytes += size;
        plan.actions.append(std::move(action));
    }
    if (keepStars)
        prependRatingActions(plan, *keepStars, existingRecords);

    if (!deleted.isEmpty()) {
        const QList<qsizetype> deletedOrder = fileBrowserOrder(deleted);
        QList<PhotoItem> ordered;
        for (qsizetype index : deletedOrder) {
            ordered.append(deleted[index]);
            plan.deletions.append(TrashSourceItem{deleted[index].sourceURL, deleted[index].sourceURL.fileName()});
        }
        plan.deletionGroups = TrashGroupPlanner::build(ordered, items);
    }
    return plan;
}

FileUrl uniqueDestination(const PhotoItem& photo, const FileUrl& folder, const QSet<QString>& reservedPaths,
                          const ExistsFunction& fileManager)
{
    const QString name = photo.sourceURL.fileName();
    const auto isFree = [&](const FileUrl& candidate) {
        return !reservedPaths.contains(candidate.path()) && !fileManager(candidate.path());
    };
    const FileUrl first = folder.appending(name);
    if (isFree(first))
        return first;

    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    const bool hasExtension = dot > 0;
    const QString base = hasExtension ? name.left(dot) : name;
    const QString extension = hasExtension ? name.mid(dot) : QString();
    for (qint64 n = 2;; ++n) {
        if (n == std::numeric_limits<qint64>::max())
            qFatal("uniqueDestination: counter overflow");
        const FileUrl candidate = folder.appending(base + QLatin1Char(' ') + QString::number(n) + extension);
        if (isFree(candidate))
            return candidate;
    }
}

} // namespace kestrava::ResumableSortExecutor
