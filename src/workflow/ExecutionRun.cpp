#include "ExecutionRun.h"

#include "WindowWording.h"
#include "execution/StoragePreflight.h"
#include "session/ExecutionJournal.h"
#include "session/SessionStore.h"
#include "trash/TrashTransactionCoordinator.h"

#include <QElapsedTimer>
#include <QFileInfo>

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

QString unsavedRecordsMessage(const QList<ExecutionRecord>& records)
{
    QStringList names;
    for (const ExecutionRecord& record : records)
        names.append(u'„' + QFileInfo(record.sourcePath).fileName() + u'“');
    return QStringLiteral("Nicht gespeichert, beim Fortsetzen wird erneut geprüft: ") + names.join(QStringLiteral(", "))
        + u'.';
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
    QList<ExecutionRecord> promises;
    for (const PlannedAction& action : plan.actions) {
        const auto known = journaled.constFind(action.id);
        if (known != journaled.constEnd() && known->destinationPath == action.destinationURL.path())
            continue; // a resumed plan keeps its recorded names: nothing new to promise
        promises.append(ExecutionRecord{action.id, action.destinationURL.path(), ExecutionActionStatus::pending, 0, {}});
    }
    if (promises.isEmpty())
        return;
    // One flush for the whole plan: the copying waits for it, and nothing needs its records
    // one by one (a crash in the middle leaves the first few, which promise nothing yet).
    const QList<qint64> sequences =
        store ? store->appendExecutions(promises, after, sessionID).result() : QList<qint64>(promises.size(), 0);
    for (qsizetype index = 0; index < promises.size(); ++index) {
        after = std::max(after, sequences[index]);
        sink(promises[index], after);
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

    // The records are made durable on the store's thread while the files go on; each reaches
    // `records` from there once it is.
    std::optional<ExecutionJournal> journal;
    if (request.store)
        journal.emplace(*request.store, request.sessionID, sequence, records);
    ResumableSortExecutor::ExecutionHandlers handlers;
    handlers.progress = progress;
    QMap<QString, ExecutionRecord> journaled = request.records;
    handlers.record = [&](const ExecutionRecord& record) {
        // Files validated again on resume come back unchanged; their line is already durable.
        const auto known = journaled.constFind(record.sourcePath);
        if (known != journaled.constEnd() && *known == record)
            return;
        if (journal)
            journal->append(record); // throws once a record failed: the run stops there
        else
            records(record, 0);
        journaled.insert(record.sourcePath, record);
    };
    // A failed record stops the run before its next file, not only at its next record.
    handlers.isCanceled = [&] {
        return (cancellation && cancellation->isCanceled()) || (journal && journal->hasFailed());
    };
    std::optional<QString> failure;
    try {
        FileOps& ops = request.fileOps ? *request.fileOps : FileOps::system();
        outcome.result = ResumableSortExecutor::executeSynchronously(plan, !request.stageTrash, handlers, ops);
    } catch (const QException& error) {
        failure = failureText(error);
    } catch (...) {
        failure = unknownFailureText();
    }
    if (journal) {
        // Nothing is reported, and no safety copy staged, before every record counts.
        try {
            journal->waitUntilDurable();
        } catch (const QException& error) {
            failure = failureText(error);
        } catch (...) {
            failure = unknownFailureText();
        }
        outcome.unsavedRecords = journal->unsaved();
    }
    if (failure) {
        outcome.result.reset();
        outcome.failure = outcome.unsavedRecords.isEmpty()
            ? *failure
            : *failure + QLatin1Char(' ') + unsavedRecordsMessage(outcome.unsavedRecords);
        return outcome;
    }

    if (request.stageTrash && organizedCompletely(*outcome.result))
        stageTrash(request, plan, progress, outcome);
    return outcome;
}

} // namespace kestrava::ExecutionRun
