#pragma once

// Keeps every session on disk so that a culling run survives a crash or a quit at any moment.
//
// Files of the session with id U (upper-case hyphenated UUID), all in `baseDirectory()`:
//   U.session.json    the snapshot: one session document (SortSession.h), replaced atomically
//   U.events.jsonl    the event log (SessionEvent.h): append-only, every line flushed to stable
//                     storage before the append reports success
//   U.execution.log   human-readable, one line per execution record, UTF-8:
//                     <time ISO 8601 UTC> " [" <status> "] " <source> " -> " <destination or "–">
//                     [" · " <error message>] "\n"
//                     a line a crash cut short is ended with "\n" before the next record
//   U.lock            held (flock) by the one store that writes the session; the kernel
//                     releases it when that process ends, however it ends. Never deleted.
// The store never deletes, repairs or rewrites a damaged file; such a session is simply not
// offered by loadLatestIncomplete().
//
// Serial actor: every operation is queued on the store's own single thread and runs after
// all operations queued before it; the returned QFuture finishes there, and waiting on it
// never runs the operation on the waiting thread. Continue on the GUI thread with
// `deliveredLater(future, this).then(this, …)` (platform/DeliveredLater.h: a plain then may
// run at once or twice) and catch `.onFailed(this, [](const SessionStoreError&) …)` or
// FileSystemError (file system failures arrive unchanged, with the path and errno). Each
// operation first creates `baseDirectory()` (with parents) if needed; the constructor creates
// nothing.

#include "SessionEvent.h"
#include "SortSession.h"
#include "platform/FileOps.h"

#include <QFuture>
#include <QString>
#include <QUuid>
#include <functional>
#include <memory>

namespace kestrava {

class SessionStore {
public:
    using Clock = std::function<QDateTime()>;

    // `clock` stamps events and execution-log lines; the default is the current UTC time.
    explicit SessionStore(QString baseDirectory = defaultDirectory(), FileOps& fileOps = FileOps::system(),
                          Clock clock = {});
    // Waits for the operations already queued.
    ~SessionStore();
    SessionStore(const SessionStore&) = delete;
    SessionStore& operator=(const SessionStore&) = delete;

    // The one store of the application, created on first use in the default directory.
    static SessionStore& live();
    // $XDG_DATA_HOME/Kestrava/Sessions (see platform/AppPaths.h), not created here.
    static QString defaultDirectory();

    const QString& baseDirectory() const;
    QString snapshotPath(const QUuid& sessionID) const;
    QString eventLogPath(const QUuid& sessionID) const;
    QString executionLogPath(const QUuid& sessionID) const;

    // Writes the snapshot atomically, unless this store already wrote a snapshot of the same
    // session with a later `updatedAt` (an older state never replaces a newer one; an equal
    // date is written again). No flush beyond the atomic replace: the event log carries
    // durability of single changes.
    QFuture<void> saveSnapshot(SortSession session);

    // Claims the session for this store, so that no other process (a window, a CLI run) writes
    // it meanwhile; every write claims it too. Runs on the calling thread. Throws
    // SessionStoreError::sessionInUse when another holder has it, FileSystemError when the
    // lock file cannot be opened. Claiming a session this store holds already does nothing.
    void lockSession(const QUuid& sessionID);
    // Lets another process take the session. Its next write here claims it again.
    void unlockSession(const QUuid& sessionID);

    // The highest sequence the session's event log holds, 0 for none. Runs on the calling
    // thread; lines that do not decode are passed over.
    qint64 lastLoggedSequence(const QUuid& sessionID) const;

    // Journals a decision or category event and returns its sequence number: one more than
    // the largest of `after` (the caller's last known sequence, the session's
    // `lastEventSequence`), the last number this store handed out for the session and the
    // highest number its log held when this store first wrote it. The
    // number is used up even when the write then fails, so a retry gets the next one. The
    // future finishes only after the line reached stable storage.
    QFuture<qint64> append(SessionEventKind kind, QStringList sourcePaths, std::optional<PhotoDecision> decision,
                           std::optional<QString> category, int currentIndex, qint64 after, QUuid sessionID);

    // Journals an execution event for `record` (durable as above), then adds a line to the
    // execution log. A failure of the text log is thrown although the event is already durable.
    QFuture<qint64> appendExecution(ExecutionRecord record, qint64 after, QUuid sessionID);

    // Journals an execution event for each of `records`, numbered in their order, with one
    // write and one flush of the event log and one of the text log: the cost of one record
    // for a whole plan. On a failed write or flush none of them is in the log; a crash in the
    // middle may leave the first few, as single appends one after another would. Returns the
    // sequence numbers in the order of `records`.
    QFuture<QList<qint64>> appendExecutions(QList<ExecutionRecord> records, qint64 after, QUuid sessionID);

    // The incomplete session with the latest `updatedAt` after its events were replayed, or
    // nullopt. Unreadable, undecodable, future-version and damaged-log sessions are skipped
    // silently; completed ones are never returned. Equal dates: the first in file-name order.
    QFuture<std::optional<SortSession>> loadLatestIncomplete();

    // One session by id, its events replayed, whatever its status. Throws FileSystemError when
    // the snapshot cannot be read and SessionStoreError when it or its log is damaged.
    QFuture<SortSession> loadSession(QUuid sessionID);

private:
    friend class ExecutionJournal; // journals a run's records on the store's thread
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace kestrava
