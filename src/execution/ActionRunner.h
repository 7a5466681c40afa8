#pragma once

// The work of one planned action, for executeSynchronously: copying, moving, accepting what an
// earlier run finished, writing a rating sidecar, and the run's progress. The order of the
// actions and the records' hand-over are the executor's; the copies that finish on threads of
// their own start and end here (see OverlappingCopies.cpp).

#include "ProgressThrottle.h"
#include "ResumableSortExecutor.h"
#include "TransactionalCopy.h"

#include <QElapsedTimer>
#include <QHash>
#include <QSet>

#include <atomic>
#include <future>
#include <mutex>
#include <optional>

namespace kestrava {
class ResumableSortError;
}

namespace kestrava::ResumableSortExecutor {

// The files the user counts: photos. A sidecar, whether travelling or written for a rating, is
// part of its photo.
bool isPartOfPhoto(const QString& recordKey);

struct ActionRunner {
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
    // Set by the first file the destination had no room for; the run stops there, since
    // every later file would fail the same way.
    std::atomic<bool> outOfSpace{false};

    ActionRunner(const SortExecutionPlan& plan, const ExecutionHandlers& handlers, FileOps& ops);

    void report(bool force = false);
    ChunkProgress chunkProgress();
    void addCompletedBytes(qint64 bytes);

    static ExecutionRecord recordFor(const PlannedAction& action);
    void fail(ExecutionRecord& record, const KestravaError& error);

    // Runs one action alone; returns its record and whether it was new work or an earlier run's.
    ExecutionRecord perform(const PlannedAction& action, bool& skipped);

    // Copies that are new work can overlap: the next one is written while this one is flushed
    // and read back. Everything else runs alone.
    bool canOverlap(const PlannedAction& action) const;
    // The first half of an overlapping copy. Without a value, `record` holds the failure.
    std::optional<UnfinishedCopy> startCopying(const PlannedAction& action, ExecutionRecord& record);
    // `after`, when valid, is a copy that must stand under its name first.
    std::shared_future<ExecutionRecord> finishInBackground(UnfinishedCopy copy, ExecutionRecord record,
                                                           std::shared_future<ExecutionRecord> after);

private:
    void prepareFolder(const FileUrl& destination);
    void removeAbandonedReservation(const PlannedAction& action);
    qint64 acceptExisting(const PlannedAction& action);
    qint64 move(const PlannedAction& action);
    qint64 moveAcrossVolumes(const PlannedAction& action);
    void keepVerifiedCopy(ExecutionRecord& record, const PlannedAction& action, const ResumableSortError& error);
    ExecutionRecord writeRating(const PlannedAction& action, bool& skipped);
};

} // namespace kestrava::ResumableSortExecutor
