#pragma once

// The background half of a run: storage check, plan, journal of the plan, execution and, for
// the trash mode, the staging of safety copies. It runs on the view model's execution thread
// and touches no view-model state; what the screens need arrives through the two sinks and
// the returned outcome.

#include "execution/ResumableSortExecutor.h"
#include "model/DestinationPlanner.h"
#include "session/SortSession.h"
#include "trash/TrashServices.h"

#include <functional>
#include <memory>
#include <optional>

namespace kestrava {

class SessionStore;

struct ExecutionRequest {
    QList<PhotoItem> items;
    SortOptions options;
    QMap<QString, ExecutionRecord> records; // the session's, keyed by source path
    SessionStore* store = nullptr;          // none: nothing is journaled
    // Written (and waited for) before anything else: the run's events need their snapshot.
    std::optional<SortSession> snapshot;
    QUuid sessionID;
    qint64 lastEventSequence = 0;
    DestinationPlanner::ExistsFunction exists;
    FileOps* fileOps = nullptr;
    // organizeAndTrash: organise keep and maybe, then stage the rejected files.
    bool stageTrash = false;
    QString journalBase;
    std::shared_ptr<const TrashCapabilityChecking> trashCapability;
};

struct ExecutionOutcome {
    // Set when the executor ran (also when it stopped early or files failed).
    std::optional<SortResult> result;
    // Set when the trash staging ran to its end.
    std::optional<TrashPreparation> preparation;
    // German text of what stopped the run or the staging; the run's own per-file errors are
    // in `result`.
    std::optional<QString> failure;
    // Messages of trash groups refused as a whole (they were neither staged nor journaled).
    QStringList refusedGroups;
    // Records of files the run handled whose journal line could not be written (the run
    // stopped there): the journal still holds their earlier state.
    QList<ExecutionRecord> unsavedRecords;
    bool snapshotSaved = false;
};

namespace ExecutionRun {

// Hands each journaled record to the GUI with the sequence number the store gave it, once it
// is durable, in plan order; from the run's thread or the store's.
using RecordSink = std::function<void(const ExecutionRecord& record, qint64 sequence)>;
using ProgressSink = std::function<void(const SortProgress& progress)>;

// "Der fortsetzbare Plan konnte nicht gespeichert werden: "
QString planNotSavedPrefix();
// "Die Sicherheitsablage wurde nicht freigegeben: "
QString stagingRefusedPrefix();
// "Die Sitzung konnte nicht sicher angelegt werden."; the run's alert adds the store's cause.
QString snapshotFailedMessage();
// "Nicht gespeichert, beim Fortsetzen wird erneut geprüft: „a.jpg“, „b.jpg“.", added to the
// store's message when a journal write stopped the run.
QString unsavedRecordsMessage(const QList<ExecutionRecord>& records);

// Journals `record` and waits until it is durable. Returns the sequence number (0 without a
// store). Throws the store's error.
qint64 journalRecord(SessionStore* store, const QUuid& sessionID, qint64 after, const ExecutionRecord& record);

// Journals a pending record for every action whose record is not journaled yet (or differs),
// so that a crash before its first file still finds the planned names; all with one flush,
// and returns once they are durable. Throws the store's error.
void journalPlan(SessionStore* store, const QUuid& sessionID, qint64 after, const SortExecutionPlan& plan,
                 const QMap<QString, ExecutionRecord>& journaled, const RecordSink& sink);

// Never throws: every failure ends in the outcome. The outcome comes only after every record
// of the run is durable; a record that cannot be written stops the run before its next file,
// with the store's message and without a result.
ExecutionOutcome run(const ExecutionRequest& request, const ProgressSink& progress, const RecordSink& records,
                     const std::shared_ptr<const CancellationFlag>& cancellation);

// Whether an organising result lets the staging of safety copies begin: every file done.
bool organizedCompletely(const SortResult& result);

} // namespace ExecutionRun

} // namespace kestrava
