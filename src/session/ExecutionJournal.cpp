#include "ExecutionJournal.h"

#include "SessionStoreState.h"

#include <QMutex>
#include <QThreadPool>

#include <atomic>
#include <exception>

namespace kestrava {

struct ExecutionJournal::Shared {
    SessionStore::State* store = nullptr;
    QUuid sessionID;
    Acknowledge acknowledge;
    qint64 after = 0; // the store's thread only

    std::atomic<bool> failed{false};
    std::exception_ptr failure; // written once, under `mutex`, before `failed` is set

    mutable QMutex mutex;
    QList<ExecutionRecord> unsaved;

    // The text log's lines are written on a thread of their own, each after its record's
    // event is durable: its flush then shares the file system's commit with the next event's
    // instead of costing a commit of its own. Last, so that it ends before what it uses.
    QThreadPool textLog;

    Shared() { textLog.setMaxThreadCount(1); }

    void fail(std::exception_ptr error)
    {
        QMutexLocker guard(&mutex);
        if (failed.load(std::memory_order_acquire))
            return;
        failure = std::move(error);
        failed.store(true, std::memory_order_release);
    }

    void notSaved(ExecutionRecord record)
    {
        QMutexLocker guard(&mutex);
        unsaved.append(std::move(record));
    }

    // On the store's thread.
    void write(const ExecutionRecord& record)
    {
        qint64 sequence = 0;
        try {
            sequence = store->appendEvent(executionEvent(record), after, sessionID);
        } catch (...) {
            notSaved(record);
            fail(std::current_exception());
            return;
        }
        after = sequence;
        acknowledge(record, sequence);
        textLog.start([this, record] {
            try {
                // The text log is for people and is never replayed; the record counts without
                // it, but the run still stops, since the user's log would miss it.
                store->appendExecutionLogLines(sessionID, {record});
            } catch (...) {
                fail(std::current_exception());
            }
        });
    }
};

ExecutionJournal::ExecutionJournal(SessionStore& store, QUuid sessionID, qint64 after, Acknowledge acknowledge)
    : shared_(std::make_shared<Shared>())
{
    shared_->store = store.state_.get();
    shared_->sessionID = sessionID;
    shared_->after = after;
    shared_->acknowledge = std::move(acknowledge);
}

ExecutionJournal::~ExecutionJournal()
{
    last_.waitForFinished();
    shared_->textLog.waitForDone();
}

void ExecutionJournal::append(ExecutionRecord record)
{
    // The record before is written by now, as a rule: a file takes longer than a line. Waiting
    // for it keeps the journal at most one record behind the files, so that a failure stops
    // the run at the next record and no file goes unrecorded beyond that one.
    last_.waitForFinished();
    if (shared_->failed.load(std::memory_order_acquire)) {
        shared_->notSaved(std::move(record));
        std::rethrow_exception(shared_->failure);
    }
    last_ = onStoreThread(shared_->store->pool, [shared = shared_, record = std::move(record)] { shared->write(record); });
}

bool ExecutionJournal::hasFailed() const
{
    return shared_->failed.load(std::memory_order_acquire);
}

void ExecutionJournal::waitUntilDurable()
{
    // The store's thread runs its work in order: the last record done, all are.
    last_.waitForFinished();
    shared_->textLog.waitForDone();
    if (hasFailed())
        std::rethrow_exception(shared_->failure);
}

QList<ExecutionRecord> ExecutionJournal::unsaved() const
{
    QMutexLocker guard(&shared_->mutex);
    return shared_->unsaved;
}

} // namespace kestrava
