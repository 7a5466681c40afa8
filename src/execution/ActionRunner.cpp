#include "ActionRunner.h"

#include "RatingSidecar.h"
#include "ResultPermissions.h"
#include "ResumableSortError.h"
#include "StoragePreflight.h"

#include "model/SidecarRule.h"
#include "platform/DurableFile.h"
#include "platform/VolumeInfo.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>

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

bool isOutOfSpace(const KestravaError& error)
{
    const auto* fileError = dynamic_cast<const FileSystemError*>(&error);
    return fileError && (fileError->errorNumber() == ENOSPC || fileError->errorNumber() == EDQUOT);
}

} // namespace

bool isPartOfPhoto(const QString& recordKey)
{
    return isSidecarName(QFileInfo(recordKey).fileName()) || parseRatingRecordKey(recordKey).has_value();
}

ActionRunner::ActionRunner(const SortExecutionPlan& plan, const ExecutionHandlers& handlers, FileOps& ops)
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

void ActionRunner::report(bool force)
{
    std::lock_guard guard(progressMutex);
    const double seconds = double(clock.nsecsElapsed()) / 1e9;
    progress.bytesPerSecond = seconds > 0 ? double(transferredBytes) / seconds : 0;
    throttle.emitProgress(progress, force);
}

ChunkProgress ActionRunner::chunkProgress()
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

void ActionRunner::addCompletedBytes(qint64 bytes)
{
    std::lock_guard guard(progressMutex);
    progress.completedBytes += bytes;
}

void ActionRunner::prepareFolder(const FileUrl& destination)
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
void ActionRunner::removeAbandonedReservation(const PlannedAction& action)
{
    const QString destination = action.destinationURL.path();
    const qint64 size = action.item.fileSize >= 1 ? action.item.fileSize : fileSize(action.item.sourceURL, ops);
    if (size >= 1 && isAbandonedReservation(destination, plan.options.destinationRoot, ops))
        ops.unlink(QFile::encodeName(destination));
}

// An action an earlier run may have finished. What is at the destination is accepted only
// after validation; a move whose original is still there (stopped between copy and
// removal) is finished by removing the original once the contents are proven equal.
qint64 ActionRunner::acceptExisting(const PlannedAction& action)
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

qint64 ActionRunner::move(const PlannedAction& action)
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

qint64 ActionRunner::moveAcrossVolumes(const PlannedAction& action)
{
    // The copy's name is durable when this returns; only then may the original go.
    const qint64 size = copyTransactionally(action.item, action.destinationURL, plan.options.verificationMode, ops,
                                            chunkProgress(), ResultMode::original);
    removeMovedSource(action, ops);
    return size;
}

ExecutionRecord ActionRunner::recordFor(const PlannedAction& action)
{
    ExecutionRecord record;
    record.sourcePath = action.id;
    record.destinationPath = action.destinationURL.path();
    return record;
}

void ActionRunner::fail(ExecutionRecord& record, const KestravaError& error)
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
void ActionRunner::keepVerifiedCopy(ExecutionRecord& record, const PlannedAction& action, const ResumableSortError& error)
{
    record.status = ExecutionActionStatus::pending;
    record.verifiedSize = std::max<qint64>(fileSize(action.destinationURL, ops), 0);
    record.errorMessage = error.description();
}

bool ActionRunner::canOverlap(const PlannedAction& action) const
{
    return action.kind == PlannedActionKind::copy && !(action.shouldSkip && exists(action.destinationURL, ops));
}

// A rating sidecar is written once every file it belongs with is in the result folder; a
// photo that did not get there leaves it waiting for the next run.
ExecutionRecord ActionRunner::writeRating(const PlannedAction& action, bool& skipped)
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

ExecutionRecord ActionRunner::perform(const PlannedAction& action, bool& skipped)
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

} // namespace kestrava::ResumableSortExecutor
