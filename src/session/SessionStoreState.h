#pragma once

// The inside of SessionStore, shared with ExecutionJournal: the store's one thread and the
// state only that thread touches. Not for other callers.

#include "SessionStore.h"
#include "platform/DurableFile.h"

#include <QHash>
#include <QMutex>
#include <QPromise>
#include <QThreadPool>

#include <memory>
#include <sys/stat.h>
#include <type_traits>

namespace kestrava {

// Larger than any session we could produce; a bigger file is not ours and is not read whole.
constexpr qint64 maxSessionFileBytes = qint64(1) << 31;

// Queues `work` on the store's one thread. Not through QtConcurrent::run: a thread that waits
// on such a future (waitForFinished, result) takes the task out of the queue if it has not
// started and runs it itself, beside the store's thread, out of order and on the state only
// that thread may touch. A promise gives waiters nothing to take.
template <typename Work>
QFuture<std::invoke_result_t<Work>> onStoreThread(QThreadPool& pool, Work work)
{
    using Result = std::invoke_result_t<Work>;
    auto promise = std::make_shared<QPromise<Result>>();
    QFuture<Result> future = promise->future();
    promise->start();
    pool.start([promise, work = std::move(work)]() mutable {
        try {
            if constexpr (std::is_void_v<Result>)
                work();
            else
                promise->addResult(work());
        } catch (...) {
            promise->setException(std::current_exception());
        }
        promise->finish();
    });
    return future;
}

// Everything below is touched only on `pool`'s one thread, except the immutable members and
// the locks (under `lockMutex`).
struct SessionStore::State {
    QString baseDirectory;
    FileOps* fileOps = nullptr;
    Clock clock;
    QThreadPool pool;
    QHash<QUuid, qint64> sequences;
    QHash<QUuid, QDateTime> snapshotDates;
    // Sessions whose event log may still end in the lines of a failed append, with the length
    // the log had before it. Such a line must never come back: the caller was told the event
    // did not happen and has undone it (the view model rolls its decision back), so replaying
    // it would resurrect a choice the user saw fail. Replay reads no further than this length
    // and the next append cuts the tail off before it writes.
    QHash<QUuid, qint64> untrustedTails;

    // Lock files held, by session; touched from any thread under `lockMutex`.
    QMutex lockMutex;
    QHash<QUuid, int> heldLocks;

    QString fileOf(const QUuid& id, QLatin1StringView suffix) const;
    void ensureBase();
    void lock(const QUuid& id);
    void unlock(const QUuid& id);
    qint64 lastLogged(const QUuid& id) const;
    qint64 nextSequence(const QUuid& id, qint64 after);

    // Numbers the events and writes them with one write and one flush: durable together, or,
    // when the write or flush fails, none of them (the log is cut back to its earlier length).
    // Returns the last number given. A crash in the middle may leave the first few whole.
    qint64 appendEvents(QList<SessionEvent>& events, qint64 after, const QUuid& id);
    qint64 appendEvent(SessionEvent event, qint64 after, const QUuid& id);
    // One line per record in the text log, with one write and one flush. Touches nothing of
    // the store's thread: ExecutionJournal writes the text log from a thread of its own.
    void appendExecutionLogLines(const QUuid& id, const QList<ExecutionRecord>& records);

    void replayInto(SortSession& session);
    SortSession loadFile(const QString& path);

private:
    qint64 lengthOf(const QString& path);
    UniqueFd openExisting(const QString& path, int flags, struct stat& info);
    void truncateDurably(const QString& path, qint64 length);
    bool endsMidLine(const QString& path);
};

// The event that journals `record`.
SessionEvent executionEvent(ExecutionRecord record);

} // namespace kestrava
