#include "ResumableSortExecutor.h"

#include "ChunkPool.h"
#include "FinishingCopies.h"
#include "RatingSidecar.h"
#include "ResultPermissions.h"
#include "ResumableSortError.h"
#include "RunGuard.h"
#include "StoragePreflight.h"

#include "model/SidecarRule.h"
#include "platform/DurableFile.h"
#include "platform/VolumeInfo.h"

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QSet>

#include <algorithm>
#include <cerrno>
#include <future>
#include <mutex>
#include <optional>

namespace kestrava::ResumableSortExecutor {

namespace {

bool exists(const FileUrl& url, FileOps& ops)
{
    struct stat info {};
    return ops.lstat(QFile::encodeName(url.path()), &info) == 0;
}

// Removing the original is the one irreversible step of a move; callers make the copy's folder
// entry durable first, and the original's folder is flushed so the removal is final too. When
// the card refuses (write-protected, pulled), the verified copy stays and the failure says so:
// the file then waits in the state "copy verified, original still present", from which a
// later run only removes the original, never copies again.
void removeMovedSource(const PlannedAction& action, FileOps& ops)
{
    const QString source = action.item.sourceURL.path();
    try {
        if (ops.unlink(QFile::encodeName(source)) != 0 && errno != ENOENT)
            throw FileSystemError(FileSystemError::Operation::remove, source, errno);
        flushDirectory(action.item.sourceURL.parent().path(), ops);
    } catch (const FileSystemError& error) {
        throw ResumableSortError::originalNotRemoved(action.item.sourceURL.fileName(), error.reason());
    }
}

// The files the user counts: photos. A sidecar, whether travelling or written for a rating, is
// part of its photo.
bool isPartOfPhoto(const QString& recordKey)
{
    return isSidecarName(QFileInfo(recordKey).fileName()) || parseRatingRecordKey(recordKey).has_value();
}

bool isOutOfSpace(const KestravaError& error)
{
    const auto* fileError = dynamic_cast<const FileSystemError*>(&error);
    return fileError && (fileError->errorNumber() == ENOSPC || fileError->errorNumber() == EDQUOT);
}

struct Runner {
    const SortExecutionPlan& plan;
    const ExecutionHandlers& handlers;
    FileOps& ops;
    ProgressThrottle throttle;
    // Guards `progress` and `transferredBytes`: a copy being finished reports its read-back
    // from its own thread. Held while reporting, so reports leave in the order they were made.
    std::recursive_mutex progressMutex;
    SortProgress progress;
    QElapsedTimer clock;
    qint64 transferredBytes = 0;
    QSet<QString> preparedFolders;
    // How each action of this run ended, by id: a rating sidecar waits for its photo.
    QHash<QString, ExecutionActionStatus> outcomes;
    // The rating actions that mark a travelled sidecar, by the sidecar's destination.
    QHash<QString, const PlannedAction*> markingRatings;

    Runner(const SortExecutionPlan& plan, const ExecutionHandlers& handlers, FileOps& ops)
        : plan(plan), handlers(handlers), ops(ops), throttle(handlers.progress)
    {
        // Counted as the results are: the user's photos, a sidecar being part of its photo.
        progress.totalFiles = int(std::count_if(plan.actions.begin(), plan.actions.end(), [](const PlannedAction& action) {
            return !isPartOfPhoto(action.id);
        }));
        progress.totalBytes = plan.totalBytes;
        for (const PlannedAction& action : plan.actions)
            if (action.kind == PlannedActionKind::writeRating && action.updatesTravelledSidecar)
                markingRatings.insert(action.destinationURL.path(), &action);
        clock.start();
    }

    void report(bool force = false)
    {
        std::lock_guard guard(progressMutex);
        const double seconds = double(clock.nsecsElapsed()) / 1e9;
        progress.bytesPerSecond = seconds > 0 ? double(transferredBytes) / seconds : 0;
        throttle.emitProgress(progress, force);
    }

    ChunkProgress chunkProgress()
    {
        return [this](SortPhase phase, qint64 bytes) {
            std::lock_guard guard(progressMutex);
            progress.phase = phase;
            if (phase != SortPhase::verifying) {
                progress.completedBytes += bytes;
                transferredBytes += bytes;
            }
            report();
        };
    }

    void addCompletedBytes(qint64 bytes)
    {
        std::lock_guard guard(progressMutex);
        progress.completedBytes += bytes;
    }

    void prepareFolder(const FileUrl& destination)
    {
        const QString folder = destination.parent().path();
        if (preparedFolders.contains(folder))
            return;
        ensureResultFolder(folder, ops);
        removeStaleTemporaries(folder, ops);
        preparedFolders.insert(folder);
    }

    // A run killed between reserving a destination's name and renaming onto it leaves the
    // marked empty reservation there, and the plan gave the file that name again. Under the
    // run's lock no rename of Kestrava's own is under way in this folder, so the mark proves
    // the file abandoned. An empty photo would have been taken as its own copy, so only a
    // file with content ever replaces a reservation.
    void removeAbandonedReservation(const PlannedAction& action)
    {
        const QString destination = action.destinationURL.path();
        const qint64 size = action.item.fileSize >= 1 ? action.item.fileSize : fileSize(action.item.sourceURL, ops);
        if (size >= 1 && isAbandonedReservation(destination, plan.options.destinationRoot, ops))
            ops.unlink(QFile::encodeName(destination));
    }

    // An action an earlier run may have finished. What is at the destination is accepted only
    // after validation; a move whose original is still there (stopped between copy and
    // removal) is finished by removing the original once the contents are proven equal.
    qint64 acceptExisting(const PlannedAction& action)
    {
        const bool sourceLeft = action.kind == PlannedActionKind::move && exists(action.item.sourceURL, ops);
        qint64 size = 0;
        try {
            size = validateExistingDestination(action.item, action.destinationURL, plan.options.verificationMode,
                                               sourceLeft, ops);
        } catch (const ResumableSortError& error) {
            // A travelled sidecar the rating has marked since is no longer its original's
            // copy byte for byte, and still the run's own result.
            const PlannedAction* rating = markingRatings.value(action.destinationURL.path());
            if (error.kind() != ResumableSortError::Kind::verificationFailed || !rating
                || !holdsMarkedSidecar(action.item.sourceURL, action.destinationURL,
                                       rating->item.decision.value_or(PhotoDecision::keep), rating->keepRatingStars, ops))
                throw;
            size = fileSize(action.destinationURL, ops);
        }
        if (sourceLeft) {
            flushDirectory(action.destinationURL.parent().path(), ops);
            removeMovedSource(action, ops);
        }
        return size;
    }

    qint64 move(const PlannedAction& action)
    {
        const FileUrl& source = action.item.sourceURL;
        const FileUrl& destination = action.destinationURL;
        if (sameVolume(source.parent().path(), destination.parent().path())) {
            try {
                renameExclusive(source.path(), destination.path(), ops);
            } catch (const FileSystemError& error) {
                // A bind mount shares the device but not the mount: the kernel refuses the
                // rename, and the file travels as a verified copy instead.
                if (error.errorNumber() != EXDEV)
                    throw;
                return moveAcrossVolumes(action);
            }
            addCompletedBytes(StoragePreflight::effectiveSize(action.item));
            const qint64 size = fileSize(destination, ops);
            const qint64 expected = action.item.fileSize >= 1 ? action.item.fileSize : size;
            if (size < 0 || size != expected) {
                try {
                    renameExclusive(destination.path(), source.path(), ops);
                } catch (const FileSystemError&) {
                }
                throw ResumableSortError::verificationFailed(source.fileName());
            }
            return size;
        }
        return moveAcrossVolumes(action);
    }

    qint64 moveAcrossVolumes(const PlannedAction& action)
    {
        // The copy's name is durable when this returns; only then may the original go.
        const qint64 size = copyTransactionally(action.item, action.destinationURL, plan.options.verificationMode, ops,
                                                chunkProgress(), ResultMode::original);
        removeMovedSource(action, ops);
        return size;
    }

    static ExecutionRecord recordFor(const PlannedAction& action)
    {
        ExecutionRecord record;
        record.sourcePath = action.id;
        record.destinationPath = action.destinationURL.path();
        return record;
    }

    // Set by the first file the destination had no room for; the run stops there, since
    // every later file would fail the same way.
    std::atomic<bool> outOfSpace{false};

    void fail(ExecutionRecord& record, const KestravaError& error)
    {
        record.verifiedSize = 0;
        if (isOutOfSpace(error)) {
            // Nothing of the file is left behind; it waits for the next run like the rest.
            outOfSpace.store(true);
            record.status = ExecutionActionStatus::pending;
            record.errorMessage = ResumableSortError::destinationFull().description();
            return;
        }
        record.status = ExecutionActionStatus::failed;
        record.errorMessage = error.description();
    }

    // The copy is at the destination and proven; only the original stayed behind.
    void keepVerifiedCopy(ExecutionRecord& record, const PlannedAction& action, const ResumableSortError& error)
    {
        record.status = ExecutionActionStatus::pending;
        record.verifiedSize = std::max<qint64>(fileSize(action.destinationURL, ops), 0);
        record.errorMessage = error.description();
    }

    // Copies that are new work can overlap: the next one is written while this one is flushed
    // and read back. Everything else runs alone.
    bool canOverlap(const PlannedAction& action) const
    {
        return action.kind == PlannedActionKind::copy && !(action.shouldSkip && exists(action.destinationURL, ops));
    }

    // The first half of an overlapping copy. Without a value, `record` holds the failure.
    std::optional<UnfinishedCopy> startCopying(const PlannedAction& action, ExecutionRecord& record)
    {
        try {
            prepareFolder(action.destinationURL);
            validateSource(action.item, ops);
            removeAbandonedReservation(action);
            return startCopy(action.item, action.destinationURL, plan.options.verificationMode, ops, chunkProgress());
        } catch (const KestravaError& error) {
            fail(record, error);
            return std::nullopt;
        }
    }

    // `after`, when valid, is a copy that must stand under its name first.
    std::shared_future<ExecutionRecord> finishInBackground(UnfinishedCopy copy, ExecutionRecord record,
                                                           std::shared_future<ExecutionRecord> after)
    {
        return std::async(std::launch::async, [this, copy = std::move(copy), record, after]() mutable {
            if (after.valid())
                after.wait();
            try {
                record.verifiedSize = finishCopy(std::move(copy), chunkProgress());
                record.status = ExecutionActionStatus::completed;
            } catch (const KestravaError& error) {
                fail(record, error);
            }
            return record;
        });
    }

    // A rating sidecar is written once every file it belongs with is in the result folder; a
    // photo that did not get there leaves it waiting for the next run.
    ExecutionRecord writeRating(const PlannedAction& action, bool& skipped)
    {
        ExecutionRecord record = recordFor(action);
        try {
            if (action.shouldSkip) {
                record.verifiedSize = std::max<qint64>(fileSize(action.destinationURL, ops), 0);
                skipped = true;
            } else if (!std::all_of(action.prerequisites.begin(), action.prerequisites.end(), [&](const QString& id) {
                           return outcomes.value(id, ExecutionActionStatus::pending) == ExecutionActionStatus::completed;
                       })) {
                record.errorMessage = ResumableSortError::ratingWaitsForPhoto(action.destinationURL.fileName()).description();
                return record;
            } else {
                prepareFolder(action.destinationURL);
                record.verifiedSize =
                    writeRatingSidecar(action, action.keepRatingStars, plan.options.destinationRoot, ops);
            }
            record.status = ExecutionActionStatus::completed;
        } catch (const KestravaError& error) {
            fail(record, error);
        }
        return record;
    }

    // Runs one action; returns its record and whether it was new work or an earlier run's.
    ExecutionRecord perform(const PlannedAction& action, bool& skipped)
    {
        if (action.kind == PlannedActionKind::writeRating)
            return writeRating(action, skipped);
        ExecutionRecord record = recordFor(action);
        try {
            prepareFolder(action.destinationURL);
            if (action.shouldSkip && exists(action.destinationURL, ops)) {
                record.verifiedSize = acceptExisting(action);
                addCompletedBytes(StoragePreflight::effectiveSize(action.item));
                skipped = true;
            } else {
                validateSource(action.item, ops);
                removeAbandonedReservation(action);
                record.verifiedSize = action.kind == PlannedActionKind::copy
                    ? copyTransactionally(action.item, action.destinationURL, plan.options.verificationMode, ops,
                                          chunkProgress())
                    : move(action);
            }
            record.status = ExecutionActionStatus::completed;
        } catch (const ResumableSortError& error) {
            if (error.kind() == ResumableSortError::Kind::originalNotRemoved)
                keepVerifiedCopy(record, action, error);
            else
                fail(record, error);
        } catch (const KestravaError& error) {
            fail(record, error);
        }
        return record;
    }
};

} // namespace

QString cancellationMessage()
{
    return QStringLiteral("Die Sortierung wurde abgebrochen und kann später fortgesetzt werden.");
}

SortResult executeSynchronously(const SortExecutionPlan& plan, bool includeDeletions, const ExecutionHandlers& handlers,
                                FileOps& ops)
{
    RunGuard guard(plan, ops);
    Runner runner(plan, handlers, ops);

    SortResult result;
    result.untouchedCount = plan.untouchedCount;
    result.retainedDiscardCount = includeDeletions ? int(plan.deletions.size()) : 0;
    result.records.reserve(plan.actions.size());

    int delivered = 0;
    const auto addError = [&](const QString& message) {
        if (!result.errors.contains(message))
            result.errors.append(message);
    };
    const auto deliver = [&](const ExecutionRecord& record, bool skipped) {
        // The counts are the user's photos; a sidecar that went along is part of its photo.
        // Its failure still shows, with its own name.
        const bool sidecar = isPartOfPhoto(record.sourcePath);
        runner.outcomes.insert(record.sourcePath, record.status);
        if (record.status == ExecutionActionStatus::completed && !sidecar)
            ++(skipped ? result.skippedCount : result.organizedCount);
        if (record.status != ExecutionActionStatus::completed)
            addError(*record.errorMessage);
        if (record.status == ExecutionActionStatus::pending)
            ++result.pendingCount;
        if (handlers.record)
            handlers.record(record);
        result.records.append(record);
        if (!sidecar) {
            std::lock_guard guard(runner.progressMutex);
            runner.progress.completedFiles = ++delivered;
        }
        runner.report();
    };
    FinishingCopies finishing([&](const ExecutionRecord& record) { deliver(record, false); });
    const auto settle = [&] { finishing.settle(); };
    const auto isCanceled = [&] { return handlers.isCanceled && handlers.isCanceled(); };
    // Rating sidecars come first in the plan, so that their promise is journaled before any
    // photo's, and are written last, once the photos they belong with are in place.
    QList<qsizetype> order;
    order.reserve(plan.actions.size());
    for (const bool ratings : {false, true})
        for (qsizetype index = 0; index < plan.actions.size(); ++index)
            if ((plan.actions[index].kind == PlannedActionKind::writeRating) == ratings)
                order.append(index);
    const auto stopAt = [&](qsizetype position, const QString& message) {
        // The journal already holds a pending record for every planned file; leaving them
        // as they are is what lets the next run resume here.
        result.cancelled = true;
        result.pendingCount += int(order.size() - position);
        for (qsizetype rest = position; rest < order.size(); ++rest) {
            const PlannedAction& pending = plan.actions[order[rest]];
            result.records.append(ExecutionRecord{pending.id, pending.destinationURL.path(),
                                                  ExecutionActionStatus::pending, 0, std::nullopt});
        }
        addError(message);
    };
    const auto outOfSpace = [&] { return runner.outOfSpace.load(); };

    for (qsizetype index = 0; index < order.size(); ++index) {
        const PlannedAction& action = plan.actions[order[index]];
        if (isCanceled()) {
            settle();
            stopAt(index, cancellationMessage());
            break;
        }
        {
            std::lock_guard guard(runner.progressMutex);
            // A rating sidecar is written as part of the photos' own phase.
            if (action.kind != PlannedActionKind::writeRating)
                runner.progress.phase = action.kind == PlannedActionKind::copy ? SortPhase::copying : SortPhase::moving;
            runner.progress.currentFilename = action.kind == PlannedActionKind::writeRating
                ? action.destinationURL.fileName()
                : action.item.sourceURL.fileName();
        }
        runner.report();

        if (!runner.canOverlap(action)) {
            settle();
            bool skipped = false;
            const ExecutionRecord record = runner.perform(action, skipped);
            deliver(record, skipped);
            if (outOfSpace()) {
                stopAt(index + 1, ResumableSortError::destinationFull().description());
                break;
            }
            continue;
        }
        ExecutionRecord record = Runner::recordFor(action);
        std::optional<UnfinishedCopy> copy = runner.startCopying(action, record);
        // A failed first half has its record at once, so it must wait for the earlier ones.
        if (copy)
            finishing.makeRoom();
        else
            settle();
        // Asked again: an earlier file's record may be what the caller waited for, or it found
        // the disk full. This copy is dropped unfinished (its temporary file removed) and stays
        // pending; those still finishing end as they end and are reported first.
        if (isCanceled() || outOfSpace()) {
            copy.reset();
            settle();
            stopAt(index, outOfSpace() ? ResumableSortError::destinationFull().description() : cancellationMessage());
            break;
        }
        // A sidecar appears only after its photo did: a run cut off in between must not leave
        // it under a name whose photo may yet go elsewhere (a stranger took the photo's name).
        if (copy)
            finishing.add(runner.finishInBackground(std::move(*copy), record,
                                                    isPartOfPhoto(action.id) ? finishing.newest()
                                                                             : std::shared_future<ExecutionRecord>()));
        else
            deliver(record, false);
    }
    settle();

    // A move within one volume leaves its new name to its folder's next flush (a copy flushes
    // its own, see finishCopy). Before the run reports its end, each result folder is flushed once: a power cut just after "Fertig"
    // must not take back results the user now relies on, perhaps formatting the card.
    QSet<QString> resultFolders;
    for (const ExecutionRecord& record : std::as_const(result.records))
        if (record.status == ExecutionActionStatus::completed && record.destinationPath)
            resultFolders.insert(QFileInfo(*record.destinationPath).path());
    for (const QString& folder : std::as_const(resultFolders)) {
        try {
            flushDirectory(folder, ops);
        } catch (const FileSystemError& error) {
            result.errors.append(error.description());
        }
    }

    ChunkPool::trim();
    // "Finished" only when everything is done; a failed or stopped run ends on its last phase.
    if (!result.cancelled && result.pendingCount == 0 && result.errors.isEmpty()) {
        std::lock_guard hold(runner.progressMutex);
        runner.progress.phase = SortPhase::finished;
    }
    runner.report(true);
    guard.release();
    return result;
}

} // namespace kestrava::ResumableSortExecutor
