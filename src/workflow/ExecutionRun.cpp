#include "ExecutionRun.h"

#include "WindowWording.h"
#include "execution/StoragePreflight.h"
#include "session/SessionStore.h"
#include "trash/TrashTransactionCoordinator.h"

#include <QElapsedTimer>

namespace kestrava::ExecutionRun {

QString planNotSavedPrefix()
{
    return QStringLiteral("Der fortsetzbare Plan konnte nicht gespeichert werden: ");
}

QString stagingRefusedPrefix()
{
    return QStringLiteral("Die Sicherheitsablage wurde nicht freigegeben: ");
}

QString snapshotFailedMessage()
{
    return QStringLiteral("Die Sitzung konnte nicht sicher angelegt werden.");
}

qint64 journalRecord(SessionStore* store, const QUuid& sessionID, qint64 after, const ExecutionRecord& record)
{
    if (!store)
        return 0;
    // result() rethrows the store's error on this thread.
    return store->appendExecution(record, after, sessionID).result();
}

void journalPlan(SessionStore* store, const QUuid& sessionID, qint64 after, const SortExecutionPlan& plan,
                 const QMap<QString, ExecutionRecord>& journaled, const RecordSink& sink)
{
    for (const PlannedAction& action : plan.actions) {
        const auto known = journaled.constFind(action.id);
        if (known != journaled.constEnd() && known->destinationPath == action.destinationURL.path())
            continue; // a resumed plan keeps its recorded names: nothing new to promise
        const ExecutionRecord pending{action.id, action.destinationURL.path(), ExecutionActionStatus::pending, 0, {}};
        after = std::max(after, journalRecord(store, sessionID, after, pending));
        sink(pending, after);
    }
}

bool organizedCompletely(const SortResult& result)
{
    return !result.cancelled && result.pendingCount == 0 && result.errors.isEmpty();
}

namespace {

SortProgress stagingProgress(const TrashProgressReport& report, const QElapsedTimer& clock)
{
    SortProgress progress;
    progress.phase = SortPhase::copying;
    progress.completedFiles = report.completedFiles;
    progress.totalFiles = report.totalFiles;
    progress.completedBytes = report.completedBytes;
    progress.totalBytes = report.totalBytes;
    progress.currentFilename = report.currentFilename;
    if (const qint64 elapsed = clock.nsecsElapsed(); elapsed > 0)
        progress.bytesPerSecond = double(report.completedBytes) * 1e9 / double(elapsed);
    return progress;
}

void stageTrash(const ExecutionRequest& request, const SortExecutionPlan& plan, const ProgressSink& progressSink,
                ExecutionOutcome& outcome)
{
    QList<TrashGroup> accepted;
    for (const TrashGroup& group : plan.deletionGroups) {
        if (group.validationError)
            outcome.refusedGroups.append(*group.validationError);
        else
            accepted.append(group);
    }
    TrashTransactionOptions options;
    if (request.fileOps)
        options.fileOps = request.fileOps;
    if (request.snapshot)
        options.sourceFolder = request.snapshot->sourceFolder.path();
    QElapsedTimer clock;
    clock.start();
    const TrashProgress progress = [&](const TrashProgressReport& report) {
        progressSink(stagingProgress(report, clock));
    };
    try {
        outcome.preparation = TrashTransactionCoordinator::prepare(request.sessionID, accepted, request.options.destinationRoot,
                                                                   request.journalBase, *request.trashCapability, progress,
                                                                   options);
    } catch (const QException& error) {
        outcome.failure = stagingRefusedPrefix() + failureText(error);
    } catch (...) {
        outcome.failure = stagingRefusedPrefix() + unknownFailureText();
    }
}

} // namespace

ExecutionOutcome run(const ExecutionRequest& request, const ProgressSink& progress, const RecordSink& records,
                     const std::shared_ptr<const CancellationFlag>& cancellation)
{
    ExecutionOutcome outcome;
    if (request.store && request.snapshot) {
        try {
            request.store->saveSnapshot(*request.snapshot).waitForFinished();
            outcome.snapshotSaved = true;
        } catch (const QException& error) {
            // The store's own words name the file and what the file system said.
            outcome.failure = snapshotFailedMessage() + QLatin1Char(' ') + failureText(error);
            return outcome;
        } catch (...) {
            outcome.failure = snapshotFailedMessage() + QLatin1Char(' ') + unknownFailureText();
            return outcome;
        }
    }
    // The estimate shown on the confirmation screen may be minutes old; the volume may have
    // filled since.
    const StorageEstimate estimate = StoragePreflight::estimate(request.items, request.options, request.records);
    if (!estimate.isSufficient) {
        outcome.failure = estimate.message;
        return outcome;
    }

    SortExecutionPlan plan;
    qint64 sequence = request.lastEventSequence;
    const RecordSink track = [&](const ExecutionRecord& record, qint64 number) {
        sequence = std::max(sequence, number);
        records(record, number);
    };
    try {
        plan = ResumableSortExecutor::buildPlan(request.items, request.options, request.records, request.exists);
        journalPlan(request.store, request.sessionID, sequence, plan, request.records, track);
    } catch (const QException& error) {
        outcome.failure = planNotSavedPrefix() + failureText(error);
        return outcome;
    } catch (...) {
        outcome.failure = planNotSavedPrefix() + unknownFailureText();
        return outcome;
    }

    ResumableSortExecutor::ExecutionHandlers handlers;
    handlers.progress = progress;
    QMap<QString, ExecutionRecord> journaled = request.records;
    handlers.record = [&](const ExecutionRecord& record) {
        // Files validated again on resume come back unchanged; their line is already durable.
        const auto known = journaled.constFind(record.sourcePath);
        if (known != journaled.constEnd() && *known == record)
            return;
        track(record, journalRecord(request.store, request.sessionID, sequence, record));
        journaled.insert(record.sourcePath, record);
    };
    handlers.isCanceled = [cancellation] { return cancellation && cancellation->isCanceled(); };
    try {
        FileOps& ops = request.fileOps ? *request.fileOps : FileOps::system();
        outcome.result = ResumableSortExecutor::executeSynchronously(plan, !request.stageTrash, handlers, ops);
    } catch (const QException& error) {
        outcome.failure = failureText(error);
        return outcome;
    } catch (...) {
        outcome.failure = unknownFailureText();
        return outcome;
    }

    if (request.stageTrash && organizedCompletely(*outcome.result))
        stageTrash(request, plan, progress, outcome);
    return outcome;
}

} // namespace kestrava::ExecutionRun
