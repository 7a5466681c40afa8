#include "SortExecutionPlan.h"

#include "StoragePreflight.h"
#include "TransactionalCopy.h"

#include "platform/FileSystemError.h"

#include "model/Text.h"
#include "trash/TrashGroupPlanner.h"

#include <algorithm>
#include <limits>
#include <numeric>

namespace kestrava::ResumableSortExecutor {

namespace {

enum class Reuse { none, skip, sameName };

// What a recorded outcome means for this run's destination of the file.
Reuse reuseOf(const ExecutionRecord* record, const ExistsFunction& exists, const SameContentFunction& sameContent)
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
    const QList<qsizetype> order = fileBrowserOrder(selected);

    // First pass: destinations promised by earlier runs.
    QSet<QString> reserved;
    QList<Reuse> reuse(selected.size(), Reuse::none);
    QList<QString> recordedPath(selected.size());
    for (qsizetype index : order) {
        const PhotoItem& item = selected[index];
        const auto found = existingRecords.constFind(item.sourceURL.path());
        const ExecutionRecord* record = found == existingRecords.constEnd() ? nullptr : &found.value();
        reuse[index] = reuseOf(record, fileManager, sameContent);
        if (reuse[index] == Reuse::none)
            continue;
        const QString path = FileUrl::fromLocalPath(*record->destinationPath).path();
        if (reserved.contains(path)) {
            reuse[index] = Reuse::none; // two records claiming one name: the later gets a new one
        } else {
            reserved.insert(path);
            recordedPath[index] = path;
        }
    }

    plan.actions.reserve(selected.size());
    for (qsizetype index : order) {
        const PhotoItem& item = selected[index];
        PlannedAction action;
        action.id = item.sourceURL.path();
        action.item = item;
        action.kind = kind;
        if (reuse[index] != Reuse::none) {
            action.destinationURL = FileUrl::fromLocalPath(recordedPath[index]);
            action.shouldSkip = reuse[index] == Reuse::skip;
        } else {
            const FileUrl folder = options.destinationRoot.appending(DestinationPlanner::relativeDirectory(item, options));
            action.destinationURL = uniqueDestination(item, folder, reserved, fileManager);
            reserved.insert(action.destinationURL.path());
        }
        const qint64 size = StoragePreflight::effectiveSize(item);
        if (size > std::numeric_limits<qint64>::max() - plan.totalBytes)
            qFatal("Execution plan: total size overflows");
        plan.totalBytes += size;
        plan.actions.append(std::move(action));
    }

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
