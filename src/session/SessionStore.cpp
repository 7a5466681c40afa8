#include "SessionStore.h"

#include "SessionStoreState.h"
#include "platform/AppPaths.h"

#include <QDir>

namespace kestrava {

using namespace Qt::StringLiterals;

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
    State* s = state_.get();
    return onStoreThread(s->pool, [s, record = std::move(record), after, sessionID] {
        const qint64 sequence = s->appendEvent(executionEvent(record), after, sessionID);
        // The text log is for people and is never replayed: a line of a failed append may stay.
        s->appendExecutionLogLines(sessionID, {record});
        return sequence;
    });
}

QFuture<QList<qint64>> SessionStore::appendExecutions(QList<ExecutionRecord> records, qint64 after, QUuid sessionID)
{
    State* s = state_.get();
    return onStoreThread(s->pool, [s, records = std::move(records), after, sessionID] {
        QList<SessionEvent> events;
        events.reserve(records.size());
        for (const ExecutionRecord& record : records)
            events.append(executionEvent(record));
        QList<qint64> sequences;
        if (events.isEmpty())
            return sequences;
        s->appendEvents(events, after, sessionID);
        for (const SessionEvent& event : std::as_const(events))
            sequences.append(event.sequence);
        s->appendExecutionLogLines(sessionID, records);
        return sequences;
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
