#include "SessionStoreState.h"

#include "SessionReplay.h"
#include "SessionStoreError.h"

#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <limits>
#include <sys/file.h>
#include <unistd.h>

namespace kestrava {

using namespace Qt::StringLiterals;

namespace {

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

SessionEvent executionEvent(ExecutionRecord record)
{
    SessionEvent event;
    event.kind = SessionEventKind::execution;
    event.sourcePaths = QStringList{record.sourcePath};
    event.currentIndex = 0;
    event.executionRecord = std::move(record);
    return event;
}

QString SessionStore::State::fileOf(const QUuid& id, QLatin1StringView suffix) const
{
    return baseDirectory + u'/' + json::encodeUuid(id) + suffix;
}

void SessionStore::State::ensureBase()
{
    ensureDirectory(baseDirectory, *fileOps);
}

void SessionStore::State::lock(const QUuid& id)
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

void SessionStore::State::unlock(const QUuid& id)
{
    QMutexLocker guard(&lockMutex);
    if (const auto held = heldLocks.constFind(id); held != heldLocks.constEnd()) {
        fileOps->close(*held);
        heldLocks.erase(held);
    }
}

qint64 SessionStore::State::lastLogged(const QUuid& id) const
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

qint64 SessionStore::State::nextSequence(const QUuid& id, qint64 after)
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

qint64 SessionStore::State::appendEvents(QList<SessionEvent>& events, qint64 after, const QUuid& id)
{
    lock(id);
    QByteArray lines;
    for (SessionEvent& event : events) {
        event.sequence = nextSequence(id, after);
        event.timestamp = clock();
        lines += encodeEventLine(event);
        lines += '\n';
    }
    const QString path = fileOf(id, ".events.jsonl"_L1);
    // A tail left by an earlier failure goes first; if it still cannot be cut off, these
    // events fail too rather than be written behind a line that must not count.
    if (const auto tail = untrustedTails.constFind(id); tail != untrustedTails.constEnd()) {
        truncateDurably(path, *tail);
        untrustedTails.remove(id);
    }
    const qint64 before = lengthOf(path);
    try {
        durableAppendLine(path, lines, *fileOps);
    } catch (const FileSystemError&) {
        // After a failed write or flush the lines may be in the file, in the page cache only,
        // or nowhere; a later read could still see them. Cutting the file back to its earlier
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
    return events.isEmpty() ? after : events.constLast().sequence;
}

qint64 SessionStore::State::appendEvent(SessionEvent event, qint64 after, const QUuid& id)
{
    QList<SessionEvent> one{std::move(event)};
    return appendEvents(one, after, id);
}

// 0 when the file does not exist yet.
qint64 SessionStore::State::lengthOf(const QString& path)
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
UniqueFd SessionStore::State::openExisting(const QString& path, int flags, struct stat& info)
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
void SessionStore::State::truncateDurably(const QString& path, qint64 length)
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
bool SessionStore::State::endsMidLine(const QString& path)
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
void SessionStore::State::appendExecutionLogLines(const QUuid& id, const QList<ExecutionRecord>& records)
{
    if (records.isEmpty())
        return;
    const QString path = fileOf(id, ".execution.log"_L1);
    const QDateTime now = clock();
    QByteArray lines;
    for (const ExecutionRecord& record : records)
        lines += executionLogLine(now, record).toUtf8();
    if (endsMidLine(path))
        lines.prepend('\n');
    durableAppend(path, lines, *fileOps);
}

void SessionStore::State::replayInto(SortSession& session)
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

SortSession SessionStore::State::loadFile(const QString& path)
{
    SortSession session = decodeSortSession(readWholeFile(path, maxSessionFileBytes, *fileOps));
    replayInto(session);
    return session;
}

} // namespace kestrava
