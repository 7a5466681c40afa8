#pragma once

// The execution records of one run, journaled while the run goes on. Handing a record over
// costs the caller neither a write nor a flush: the store writes the records' events on its
// own thread, in the order they were handed over, and calls `acknowledge` there for each one
// as soon as its event is durable, before the next is written. Only then may the record
// count: be shown as done, counted in the run's outcome. The journal runs at most one record
// behind: a hand-over first waits for the event before it, which a file's work has usually
// outlasted. Each record's line of the text log follows on a thread of its own once the event
// is durable, so that its flush shares the file system's commit with the next event's.
//
// Each record gets flushes of its own. Grouping the records that happen to wait together
// under one flush would save little (the flushes run beside the copying, and the file system
// commits them together with the copies' own) and would make the durable steps a run takes
// depend on the timing of its threads, so that no kill at a chosen step could be repeated.
//
// The first record whose event cannot be written ends the journal: the next hand-over throws
// that failure, and no record after it is written. The run stops there and tells the user
// which records were not saved. A text-log line that cannot be written fails the journal
// too, noticed at one of the next two hand-overs; its record counts, its event being durable.

#include "SessionStore.h"

#include <QFuture>
#include <QList>
#include <QUuid>

#include <functional>
#include <memory>

namespace kestrava {

class ExecutionJournal {
public:
    // Runs on the store's thread, one record at a time, in the order handed over.
    using Acknowledge = std::function<void(const ExecutionRecord& record, qint64 sequence)>;

    // Numbers the records after `after` (the session's last known sequence) as append does.
    ExecutionJournal(SessionStore& store, QUuid sessionID, qint64 after, Acknowledge acknowledge);
    // Waits for the records handed over.
    ~ExecutionJournal();
    ExecutionJournal(const ExecutionJournal&) = delete;
    ExecutionJournal& operator=(const ExecutionJournal&) = delete;

    // Waits for the record handed over before, then queues `record` and returns. When a record
    // has failed, throws that failure instead (the store's error: FileSystemError or
    // SessionStoreError), and `record` is not written.
    void append(ExecutionRecord record);
    // Whether a record could not be written. From any thread.
    bool hasFailed() const;
    // Returns once every record handed over is durable or refused; throws the first failure.
    void waitUntilDurable();
    // The records handed over whose event did not reach the log, in the order handed over.
    // Complete after waitUntilDurable.
    QList<ExecutionRecord> unsaved() const;

private:
    struct Shared;
    std::shared_ptr<Shared> shared_;
    QFuture<void> last_;
};

} // namespace kestrava
