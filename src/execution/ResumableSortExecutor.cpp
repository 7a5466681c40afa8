#include "ResumableSortExecutor.h"

#include "ActionRunner.h"
#include "ChunkPool.h"
#include "FinishingCopies.h"
#include "ResumableSortError.h"
#include "RunGuard.h"

#include "platform/DurableFile.h"

#include <QFileInfo>
#include <QSet>

#include <mutex>

namespace kestrava::ResumableSortExecutor {

QString cancellationMessage()
{
    return QStringLiteral("Die Sortierung wurde abgebrochen und kann später fortgesetzt werden.");
}

SortResult executeSynchronously(const SortExecutionPlan& plan, bool includeDeletions, const ExecutionHandlers& handlers,
                                FileOps& ops)
{
    RunGuard guard(plan, ops);
    ActionRunner runner(plan, handlers, ops);

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
        // The next copy's source is read from the disk while this one is hashed. A copy checked
        // by size alone has no hashing to hide the reading behind: the kernel copies it as fast
        // without (measured: only more processor and disk time with it).
        if (plan.options.verificationMode == VerificationMode::sha256 && index + 1 < order.size()
            && plan.actions[order[index + 1]].kind == PlannedActionKind::copy)
            prefetch(plan.actions[order[index + 1]].item.sourceURL, ops);
        ExecutionRecord record = ActionRunner::recordFor(action);
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
