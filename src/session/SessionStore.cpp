#include "SessionStore.h"

#include "SessionReplay.h"
#include "SessionStoreError.h"
#include "platform/AppPaths.h"
#include "platform/DurableFile.h"

#include <QDir>
#include <QHash>
#include <QMutex>
#include <QThreadPool>
#include <QPromise>
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <limits>
#include <memory>
#include <type_traits>

namespace kestrava {

using namespace Qt::StringLiterals;

namespace {

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

QString executionLogLine(const QDateTime& now, const ExecutionRecord& record)
{
    QString line = json::encodeDate(now) + u" ["_s + rawValue(record.status) + u"] "_s + record.sourcePath + u" -> "_s
        + record.destinationPath.value_or(u"–"_s);
    if (record.errorMessage)
        line += u" · "_s + *record.errorMessage;
    line += u'\n';
    return line;
}

} // namespace

// Everything below is touched only on `pool`'s one thread, except the immutable members.
struct SessionStore::State {
    QString baseDirectory;
    FileOps* fileOps;
    Clock clock;
    QThreadPool pool;
    QHash<QUuid, qint64> sequences;
    QHash<QUuid, QDateTime> snapshotDates;
    // Sessions whose event log may still end in the line of a failed append, with the length
    // the log had before it. Such a line must never come back: the caller was told the event
    // did not happen and has undone it (the view model rolls its decision back), so replaying
    // it would resurrect a choice the user saw fail. Replay reads no further than this length
    // and the next append cuts the tail off before it writes.
    QHash<QUuid, qint64> untrustedTails;

    // Lock files held, by session; touched from any thread under `lockMutex`.
    QMutex lockMutex;
    QHash<QUuid, int> heldLocks;

    QString fileOf(const QUuid& id, QLatin1StringView suffix) const
    {
        return baseDirectory + u'/' + json::encodeUuid(id) + suffix;
    }

    void ensureBase() { ensureDirectory(baseDirectory, *fileOps); }

    void lock(const QUuid& id)
    {
        QMutexLocker guard(&lockMutex);
        if (heldLocks.contains(id))
            return;
        ensureBase();
        const QString path = fileOf(id, ".lock"_L1);
        const int fd = fileOps->open(QFile::encodeName(path), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
        if (fd < 0)
            throw FileSystemError(FileSystemError::Operation::open, path, errno);
        // flock, not a pid in the file: the kernel drops it with the process, so a holder that
        // was killed never blocks the session, and no stale pid can name a stranger.
        if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
            const int error = errno;
            fileOps->close(fd);
            if (error == EWOULDBLOCK)
                throw SessionStoreError::sessionInUse(path);
            throw FileSystemError(FileSystemError::Operation::open, path, error);
        }
        heldLocks.insert(id, fd);
    }

    void unlock(const QUuid& id)
    {
        QMutexLocker guard(&lockMutex);
        if (const auto held = heldLocks.constFind(id); held != heldLocks.constEnd()) {
            fileOps->close(*held);
            heldLocks.erase(held);
        }
    }

    qint64 lastLogged(const QUuid& id) const
    {
        QByteArray log;
        try {
            log = readWholeFile(fileOf(id, ".events.jsonl"_L1), maxSessionFileBytes, *fileOps);
        } catch (const FileSystemError& error) {
            if (error.errorNumber() == ENOENT)
                return 0;
            throw;
        }
        qint64 highest = 0;
        for (const QByteArray& line : log.split('\n')) {
            if (line.isEmpty())
                continue;
            try {
                highest = std::max(highest, decodeEventLine(line).sequence);
            } catch (const KestravaError&) {
                // A damaged line is replay's business; numbering only must not fall behind.
            }
        }
        return highest;
    }

    qint64 nextSequence(const QUuid& id, qint64 after)
    {
        auto known = sequences.constFind(id);
        // The caller's `after` comes from the document it opened, which may be older than the
        // log: numbers the log holds already would be replayed in the wrong order.
        if (known == sequences.constEnd())
            known = sequences.insert(id, lastLogged(id));
        const qint64 base = std::max(after, *known);
        if (base == std::numeric_limits<qint64>::max())
            qFatal("Session event sequence overflow");
        sequences.insert(id, base + 1);
        return base + 1;
    }

    qint64 appendEvent(SessionEvent event, qint64 after, const QUuid& id)
    {
        lock(id);
        event.sequence = nextSequence(id, after);
        event.timestamp = clock();
        QByteArray line = encodeEventLine(event);
        line.append('\n');
        const QString path = fileOf(id, ".events.jsonl"_L1);
        // A tail left by an earlier failure goes first; if it still cannot be cut off, this
        // event fails too rather than be written behind a line that must not count.
        if (const auto tail = untrustedTails.constFind(id); tail != untrustedTails.constEnd()) {
            truncateDurably(path, *tail);
            untrustedTails.remove(id);
        }
        const qint64 before = lengthOf(path);
        try {
            durableAppendLine(path, line, *fileOps);
        } catch (const FileSystemError&) {
            // After a failed write or flush the line may be in the file, in the page cache only,
            // or nowhere; a later read could still see it. Cutting the file back to its earlier
            // length and flushing that makes the log durably what it was before the call. A
            // compensating event written later instead could not help: the store does not know
            // the state to restore, and a crash before it would leave the line standing alone.
            try {
                truncateDurably(path, before);
            } catch (const FileSystemError&) {
                untrustedTails.insert(id, before);
            }
            throw;
        }
        return event.sequence;
    }

    // 0 when the file does not exist yet.
    qint64 lengthOf(const QString& path)
    {
        struct stat info {};
        if (fileOps->lstat(QFile::encodeName(path), &info) == 0)
            return qint64(info.st_size);
        if (errno == ENOENT)
            return 0;
        throw FileSystemError(FileSystemError::Operation::inspect, path, errno);
    }

    // The file opened with `flags` and described in `info`; an invalid descriptor when it does
    // not exist.
    UniqueFd openExisting(const QString& path, int flags, struct stat& info)
    {
        using Op = FileSystemError::Operation;
        const int fd = fileOps->open(QFile::encodeName(path), flags | O_NOFOLLOW | O_CLOEXEC);
        if (fd < 0) {
            if (errno == ENOENT)
                return {};
            throw FileSystemError(Op::open, path, errno);
        }
        UniqueFd file(fd, *fileOps);
        if (fileOps->fstat(file.get(), &info) != 0)
            throw FileSystemError(Op::inspect, path, errno);
        return file;
    }

    // Cuts the file back to `length` (if longer) and flushes it, so that the shorter state is
    // what a crash leaves. A missing file has nothing to cut.
    void truncateDurably(const QString& path, qint64 length)
    {
        using Op = FileSystemError::Operation;
        struct stat info {};
        UniqueFd file = openExisting(path, O_WRONLY, info);
        if (!file.isValid())
            return;
        if (qint64(info.st_size) > length && fileOps->ftruncate(file.get(), off_t(length)) != 0)
            throw FileSystemError(Op::resize, path, errno);
        if (fileOps->fsync(file.get()) != 0)
            throw FileSystemError(Op::flush, path, errno);
        file.close(path);
    }

    // True when the file ends inside a line: a text-log append that a crash cut short. Only
    // the last byte is read, so the check costs the same for a long log as for a short one.
    bool endsMidLine(const QString& path)
    {
        using Op = FileSystemError::Operation;
        struct stat info {};
        const UniqueFd file = openExisting(path, O_RDONLY, info);
        if (!file.isValid())
            return false;
        char last = '\n';
        if (info.st_size > 0 && ::pread(file.get(), &last, 1, info.st_size - 1) != 1)
            throw FileSystemError(Op::read, path, errno);
        return last != '\n';
    }

    // A record of the text log starts on a line of its own even after a crash cut the line
    // before it short; otherwise the two would read as one file going to the wrong place.
    void appendExecutionLogLine(const QUuid& id, const ExecutionRecord& record)
    {
        const QString path = fileOf(id, ".execution.log"_L1);
        QByteArray line = executionLogLine(clock(), record).toUtf8();
        if (endsMidLine(path))
            line.prepend('\n');
        durableAppend(path, line, *fileOps);
    }

    void replayInto(SortSession& session)
    {
        QByteArray log;
        try {
            log = readWholeFile(fileOf(session.id, ".events.jsonl"_L1), maxSessionFileBytes, *fileOps);
        } catch (const FileSystemError& error) {
            if (error.errorNumber() == ENOENT)
                return;
            throw;
        }
        if (const auto tail = untrustedTails.constFind(session.id); tail != untrustedTails.constEnd())
            log.truncate(*tail);
        replayEvents(session, log);
    }

    SortSession loadFile(const QString& path)
    {
        SortSession session = decodeSortSession(readWholeFile(path, maxSessionFileBytes, *fileOps));
        replayInto(session);
        return session;
    }
};

SessionStore::SessionStore(QString baseDirectory, FileOps& fileOps, Clock clock) : state_(std::make_unique<State>())
{
    state_->baseDirectory = QDir::cleanPath(baseDirectory);
    state_->fileOps = &fileOps;
    state_->clock = clock ? std::move(clock) : Clock([] { return QDateTime::currentDateTimeUtc(); });
    // One thread makes the store a serial actor: the pool runs queued work first in, first out.
    state_->pool.setMaxThreadCount(1);
}

SessionStore::~SessionStore()
{
    state_->pool.waitForDone();
    for (const int fd : std::as_const(state_->heldLocks))
        state_->fileOps->close(fd);
}

SessionStore& SessionStore::live()
{
    // Never destroyed: work still queued at exit must not race the static destructors.
    static SessionStore* const instance = new SessionStore();
    return *instance;
}

QString SessionStore::defaultDirectory()
{
    // The same folder as AppPaths::sessionsFolder(), named without creating it: a store
    // creates its folder on its first operation, not when it is made.
    return AppPaths::dataHome() + u"/Kestrava/Sessions"_s;
}

const QString& SessionStore::baseDirectory() const
{
    return state_->baseDirectory;
}

QString SessionStore::snapshotPath(const QUuid& sessionID) const
{
    return state_->fileOf(sessionID, ".session.json"_L1);
}

QString SessionStore::eventLogPath(const QUuid& sessionID) const
{
    return state_->fileOf(sessionID, ".events.jsonl"_L1);
}

QString SessionStore::executionLogPath(const QUuid& sessionID) const
{
    return state_->fileOf(sessionID, ".execution.log"_L1);
}

void SessionStore::lockSession(const QUuid& sessionID)
{
    state_->lock(sessionID);
}

void SessionStore::unlockSession(const QUuid& sessionID)
{
    state_->unlock(sessionID);
}

qint64 SessionStore::lastLoggedSequence(const QUuid& sessionID) const
{
    return state_->lastLogged(sessionID);
}

QFuture<void> SessionStore::saveSnapshot(SortSession session)
{
    State* s = state_.get();
    return onStoreThread(s->pool, [s, session = std::move(session)] {
        s->lock(session.id);
        const auto last = s->snapshotDates.constFind(session.id);
        const QDateTime lastWritten = last != s->snapshotDates.constEnd() ? *last : distantPast();
        if (session.updatedAt < lastWritten)
            return;
        s->snapshotDates.insert(session.id, session.updatedAt);
        atomicReplace(s->fileOf(session.id, ".session.json"_L1), encodeSortSession(session), *s->fileOps);
    });
}

QFuture<qint64> SessionStore::append(SessionEventKind kind, QStringList sourcePaths, std::optional<PhotoDecision> decision,
                                     std::optional<QString> category, int currentIndex, qint64 after, QUuid sessionID)
{
    SessionEvent event;
    event.kind = kind;
    event.sourcePaths = std::move(sourcePaths);
    event.decision = decision;
    event.category = std::move(category);
    event.currentIndex = currentIndex;
    State* s = state_.get();
    return onStoreThread(s->pool, [s, event = std::move(event), after, sessionID] {
        return s->appendEvent(event, after, sessionID);
    });
}

QFuture<qint64> SessionStore::appendExecution(ExecutionRecord record, qint64 after, QUuid sessionID)
{
    SessionEvent event;
    event.kind = SessionEventKind::execution;
    event.sourcePaths = QStringList{record.sourcePath};
    event.currentIndex = 0;
    event.executionRecord = std::move(record);
    State* s = state_.get();
    return onStoreThread(s->pool, [s, event = std::move(event), after, sessionID] {
        const qint64 sequence = s->appendEvent(event, after, sessionID);
        // The text log is for people and is never replayed: a line of a failed append may stay.
        s->appendExecutionLogLine(sessionID, *event.executionRecord);
        return sequence;
    });
}

QFuture<std::optional<SortSession>> SessionStore::loadLatestIncomplete()
{
    State* s = state_.get();
    return onStoreThread(s->pool, [s]() -> std::optional<SortSession> {
        s->ensureBase();
        // Name order makes "the first met wins" on equal dates the same on every run.
        const QFileInfoList entries = QDir(s->baseDirectory)
                                          .entryInfoList({u"*.session.json"_s}, QDir::Files | QDir::NoDotAndDotDot, QDir::Name);
        std::optional<SortSession> latest;
        for (const QFileInfo& entry : entries) {
            try {
                SortSession session = decodeSortSession(readWholeFile(entry.filePath(), maxSessionFileBytes, *s->fileOps));
                if (session.status == SortSessionStatus::completed)
                    continue;
                s->replayInto(session);
                if (!latest || session.updatedAt > latest->updatedAt)
                    latest = std::move(session);
            } catch (const KestravaError&) {
                // A damaged or foreign session is not offered; it stays on disk untouched.
            }
        }
        return latest;
    });
}

QFuture<SortSession> SessionStore::loadSession(QUuid sessionID)
{
    State* s = state_.get();
    return onStoreThread(s->pool, [s, sessionID] {
        s->ensureBase();
        return s->loadFile(s->fileOf(sessionID, ".session.json"_L1));
    });
}

} // namespace kestrava
