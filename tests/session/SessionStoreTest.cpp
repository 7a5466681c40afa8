#include "SessionTestData.h"
#include "TestSupport.h"
#include "platform/FileSystemError.h"
#include "session/SessionEvent.h"
#include "session/SessionStoreError.h"

#include <QFile>
#include <condition_variable>
#include <mutex>
#include <set>
#include <thread>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;
using namespace Qt::StringLiterals;

namespace {

// The log's events; blank lines (left by older versions, which padded events to a page) are none.
QList<QByteArray> logLines(const QString& path)
{
    QList<QByteArray> lines = readFile(path).split('\n');
    lines.removeAll(QByteArray());
    return lines;
}

} // namespace

TEST(SessionStoreSequence, numbersNeverGoBackwardsAndContinueAfterTheLogAfterARestart)
{
    TempTree tree;
    const SortSession session = makeSession(4);
    {
        SessionStore store(tree.path(u"Sessions"_s));
        EXPECT_EQ(decide(store, session, 0, PhotoDecision::keep, 0), 1);
        EXPECT_EQ(decide(store, session, 1, PhotoDecision::keep, 0), 2); // stale `after`
        EXPECT_EQ(decide(store, session, 1, PhotoDecision::keep, 10), 11);
        EXPECT_EQ(decide(store, session, 1, PhotoDecision::keep, 3), 12);
        // Another session has its own numbering.
        EXPECT_EQ(decide(store, makeSession(1), 0, PhotoDecision::keep, 0), 1);
    }
    {
        SessionStore restarted(tree.path(u"Sessions"_s));
        EXPECT_EQ(decide(restarted, session, 2, PhotoDecision::maybe, 17), 18);
    }
    // A caller that opened an older document knows only the first event: the numbers the log
    // holds are not handed out again, or a replay would put the old events over the new.
    SessionStore reopened(tree.path(u"Sessions"_s));
    EXPECT_EQ(decide(reopened, session, 3, PhotoDecision::keep, 1), 19);
    EXPECT_EQ(reopened.lastLoggedSequence(session.id), 19);
    EXPECT_EQ(logLines(reopened.eventLogPath(session.id)).size(), 6);
}

TEST(SessionStoreLock, oneStoreWritesASessionAtATime)
{
    TempTree tree;
    const QString folder = tree.path(u"Sessions"_s);
    const SortSession session = makeSession(2);
    auto first = std::make_unique<SessionStore>(folder);
    EXPECT_EQ(decide(*first, session, 0, PhotoDecision::keep, 0), 1);

    SessionStore second(folder);
    try {
        second.lockSession(session.id);
        ADD_FAILURE() << "the session was claimed twice";
    } catch (const SessionStoreError& error) {
        EXPECT_EQ(error.kind(), SessionStoreError::Kind::sessionInUse);
    }
    EXPECT_THROW(decide(second, session, 1, PhotoDecision::del, 0), SessionStoreError);
    EXPECT_THROW(await(second.saveSnapshot(session)), SessionStoreError);
    EXPECT_EQ(logLines(second.eventLogPath(session.id)).size(), 1);
    EXPECT_FALSE(QFile::exists(second.snapshotPath(session.id)));
    // Only that session is held.
    EXPECT_EQ(decide(second, makeSession(1), 0, PhotoDecision::keep, 0), 1);

    first->unlockSession(session.id);
    EXPECT_EQ(decide(second, session, 1, PhotoDecision::del, 0), 2);
    // The first store's next write finds the session taken rather than writing beside it.
    EXPECT_THROW(decide(*first, session, 0, PhotoDecision::maybe, 1), SessionStoreError);
    first.reset();
    EXPECT_EQ(decide(second, session, 0, PhotoDecision::maybe, 2), 3);
}

TEST(SessionStoreSequence, concurrentCallersGetDistinctNumbersAndWholeLines)
{
    TempTree tree;
    SessionStore store(tree.path(u"Sessions"_s));
    const SortSession session = makeSession(50);
    QList<QFuture<qint64>> futures;
    for (int i = 0; i < 50; ++i)
        futures.append(store.append(SessionEventKind::decision, {session.photos[i].sourceURL.path()}, PhotoDecision::del,
                                    std::nullopt, i, 0, session.id));
    QSet<qint64> numbers;
    for (auto& future : futures)
        numbers.insert(future.result());
    EXPECT_EQ(numbers.size(), 50);
    EXPECT_EQ(*std::max_element(numbers.begin(), numbers.end()), 50);
    for (const QByteArray& line : logLines(store.eventLogPath(session.id)))
        EXPECT_NO_THROW(decodeEventLine(line));
}

TEST(SessionStoreSequence, aCallerWaitingOnAQueuedOperationNeverRunsItBesideTheStoreThread)
{
    // Holds the store's thread inside the first snapshot write and notes where each write runs.
    struct HeldFirstSnapshot final : FileOps {
        int open(const QByteArray& path, int flags, mode_t mode) override
        {
            std::unique_lock lock(mutex);
            threads.insert(std::this_thread::get_id());
            if (path.contains(".session.json") && !held) {
                held = true;
                changed.notify_all();
                changed.wait(lock, [this] { return released; });
            }
            lock.unlock();
            return FileOps::open(path, flags, mode);
        }
        std::mutex mutex;
        std::condition_variable changed;
        std::set<std::thread::id> threads;
        bool held = false;
        bool released = false;
    } ops;
    TempTree tree;
    SessionStore store(tree.path(u"Sessions"_s), ops);
    const SortSession session = makeSession(2);
    QFuture<void> first = store.saveSnapshot(session);
    {
        std::unique_lock lock(ops.mutex);
        ops.changed.wait(lock, [&] { return ops.held; });
    }
    QFuture<qint64> second = store.append(SessionEventKind::decision, {session.photos[0].sourceURL.path()},
                                          PhotoDecision::keep, std::nullopt, 0, 0, session.id);
    std::thread releaser([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        std::lock_guard lock(ops.mutex);
        ops.released = true;
        ops.changed.notify_all();
    });
    // The queued append waits for the held snapshot; it is not taken over by this thread.
    EXPECT_EQ(second.result(), 1);
    releaser.join();
    first.waitForFinished();
    EXPECT_EQ(ops.threads.size(), 1u) << "store work ran on a waiting thread";
}

TEST(SessionStoreSnapshot, olderStateNeverReplacesANewerSnapshotButAnEqualOneIsRewritten)
{
    TempTree tree;
    SessionStore store(tree.path(u"Sessions"_s));
    SortSession session = makeSession(2);
    session.updatedAt = at(10);
    session.currentIndex = 1;
    await(store.saveSnapshot(session));
    const QString file = store.snapshotPath(session.id);
    EXPECT_EQ(readFile(file), encodeSortSession(session));

    SortSession older = session;
    older.updatedAt = at(9, 59, 59);
    older.currentIndex = 0;
    await(store.saveSnapshot(older));
    EXPECT_EQ(decodeSortSession(readFile(file)).currentIndex, 1);

    SortSession same = session;
    same.photos[0].decision = PhotoDecision::keep;
    await(store.saveSnapshot(same));
    EXPECT_EQ(decodeSortSession(readFile(file)), same);
    // No temporary left behind: only the snapshot and the session's lock.
    EXPECT_EQ(QDir(store.baseDirectory()).entryList(QDir::Files | QDir::Hidden).size(), 2);
}

TEST(SessionStoreReplay, onlyEventsNewerThanTheSnapshotAreApplied)
{
    TempTree tree;
    SessionStore store(tree.path(u"Sessions"_s));
    SortSession session = makeSession(10);
    for (int i = 0; i < 9; ++i)
        decide(store, session, i, PhotoDecision::del, 0, i + 1);
    // The snapshot knows events 1 to 7, but holds decisions that differ from them, so a
    // replay of an old event would show.
    for (int i = 0; i < 7; ++i)
        session.photos[i].decision = PhotoDecision::keep;
    session.lastEventSequence = 7;
    session.currentIndex = 7;
    session.updatedAt = at(8, 30);
    await(store.saveSnapshot(session));

    SessionStore restarted(tree.path(u"Sessions"_s));
    const auto loaded = await(restarted.loadLatestIncomplete());
    ASSERT_TRUE(loaded.has_value());
    for (int i = 0; i < 7; ++i)
        EXPECT_EQ(loaded->photos[i].decision, PhotoDecision::keep) << i;
    EXPECT_EQ(loaded->photos[7].decision, PhotoDecision::del);
    EXPECT_EQ(loaded->photos[8].decision, PhotoDecision::del);
    EXPECT_FALSE(loaded->photos[9].decision.has_value());
    EXPECT_EQ(loaded->lastEventSequence, 9);
    EXPECT_EQ(loaded->currentIndex, 9);
    EXPECT_GT(loaded->updatedAt, at(8, 30));
}

TEST(SessionStoreReplay, undoCategoriesExecutionRecordsAndLegacyLinesFoldIntoTheSession)
{
    TempTree tree;
    SteppingClock clock(at(11));
    SessionStore store(tree.path(u"Sessions"_s), FileOps::system(), clock.function());
    const SortSession session = makeSession(3);
    await(store.saveSnapshot(session));
    const QStringList pair{session.photos[0].sourceURL.path(), session.photos[1].sourceURL.path()};
    await(store.append(SessionEventKind::decision, pair, PhotoDecision::del, std::nullopt, 1, 0, session.id));
    await(store.append(SessionEventKind::decision, pair, std::nullopt, std::nullopt, 0, 1, session.id)); // undo
    await(store.append(SessionEventKind::category, {pair[1]}, std::nullopt, u"Porträt"_s, 2, 2, session.id));
    const QString source = pair[0];
    await(store.appendExecution({source, u"/Ziel/a.jpg"_s, ExecutionActionStatus::failed, 0, u"voll"_s}, 3, session.id));
    const qint64 last = await(store.appendExecution({source, u"/Ziel/a.jpg"_s, ExecutionActionStatus::completed, 42, std::nullopt}, 4, session.id));
    EXPECT_EQ(last, 5);
    // A line from an older writer, with a single `sourcePath`.
    QFile log(store.eventLogPath(session.id));
    ASSERT_TRUE(log.open(QIODevice::Append));
    log.write(R"({"decision":"maybe","kind":"decision","sequence":6,"sourcePath":")" + session.photos[2].sourceURL.path().toUtf8()
              + R"(","timestamp":"2026-03-01T12:00:00Z"})" "\n");
    log.close();

    const auto loaded = await(store.loadLatestIncomplete());
    ASSERT_TRUE(loaded.has_value());
    EXPECT_FALSE(loaded->photos[0].decision.has_value());
    EXPECT_FALSE(loaded->photos[1].decision.has_value());
    EXPECT_EQ(loaded->photos[1].category, u"Porträt"_s);
    EXPECT_EQ(loaded->photos[2].decision, PhotoDecision::maybe);
    EXPECT_EQ(loaded->currentIndex, 0); // the legacy line has no index; execution events keep it
    ASSERT_EQ(loaded->executionRecords.size(), 1);
    EXPECT_EQ(loaded->executionRecords.value(source).status, ExecutionActionStatus::completed);
    EXPECT_EQ(loaded->lastEventSequence, 6);
    EXPECT_EQ(loaded->updatedAt, at(12));
}

TEST(SessionStoreLoad, newestIncompleteSessionWinsAndCompletedOnesAreNeverOffered)
{
    TempTree tree;
    SessionStore store(tree.path(u"Sessions"_s));
    EXPECT_FALSE(await(store.loadLatestIncomplete()).has_value());

    SortSession older = makeSession(1);
    older.updatedAt = at(9);
    SortSession completed = makeSession(1);
    completed.updatedAt = at(12);
    completed.status = SortSessionStatus::completed;
    SortSession newer = makeSession(1);
    newer.updatedAt = at(10);
    for (const SortSession& s : {older, completed, newer})
        await(store.saveSnapshot(s));
    EXPECT_EQ(await(store.loadLatestIncomplete())->id, newer.id);

    // An event makes the older session the most recently changed one.
    await(store.append(SessionEventKind::decision, {older.photos[0].sourceURL.path()}, PhotoDecision::keep, std::nullopt, 0,
                       0, older.id));
    EXPECT_EQ(await(store.loadLatestIncomplete())->id, older.id);

    // Other files in the folder are ignored.
    tree.write(u"Sessions/notes.json"_s, "{}");
    tree.write(u"Sessions/.hidden.session.json"_s, encodeSortSession(newer));
    EXPECT_EQ(await(store.loadLatestIncomplete())->id, older.id);
}

// One readable line per record; a line cut short by a crash does not swallow the next record.
TEST(SessionStoreExecutionLog, oneReadableLinePerRecordEvenAfterATornLine)
{
    TempTree tree;
    SteppingClock clock(at(9, 30));
    SessionStore store(tree.path(u"Sessions"_s), FileOps::system(), clock.function());
    const QUuid id = QUuid::createUuid();
    await(store.appendExecution({u"/Fotos/A.JPG"_s, u"/Ziel/A.JPG"_s, ExecutionActionStatus::completed, 10, std::nullopt}, 0, id));
    await(store.appendExecution({u"/Fotos/B.JPG"_s, std::nullopt, ExecutionActionStatus::failed, 0, u"Zugriff verweigert"_s}, 0, id));
    const QByteArray whole = "2026-03-01T09:30:01Z [completed] /Fotos/A.JPG -> /Ziel/A.JPG\n"
                             "2026-03-01T09:30:03Z [failed] /Fotos/B.JPG -> \xE2\x80\x93 \xC2\xB7 Zugriff verweigert\n";
    EXPECT_EQ(readFile(store.executionLogPath(id)), whole);
    const QList<QByteArray> events = logLines(store.eventLogPath(id));
    ASSERT_EQ(events.size(), 2);
    const SessionEvent first = decodeEventLine(events[0]);
    EXPECT_EQ(first.kind, SessionEventKind::execution);
    EXPECT_EQ(first.sourcePaths, QStringList{u"/Fotos/A.JPG"_s});
    EXPECT_EQ(first.timestamp, at(9, 30));

    QFile log(store.executionLogPath(id));
    ASSERT_TRUE(log.open(QIODevice::Append));
    log.write("2026-03-01T09:30:04Z [completed] /Fotos/C.JPG -> /Ziel/C.J");
    log.close();
    await(store.appendExecution({u"/Fotos/D.JPG"_s, u"/Ziel/D.JPG"_s, ExecutionActionStatus::completed, 10, std::nullopt}, 0, id));
    const QList<QByteArray> lines = readFile(store.executionLogPath(id)).mid(whole.size()).split('\n');
    ASSERT_EQ(lines.size(), 3);
    EXPECT_EQ(lines[0], "2026-03-01T09:30:04Z [completed] /Fotos/C.JPG -> /Ziel/C.J");
    EXPECT_TRUE(lines[1].endsWith(" [completed] /Fotos/D.JPG -> /Ziel/D.JPG")) << lines[1].constData();
    EXPECT_TRUE(lines[2].isEmpty());
}

TEST(SessionStoreDurability, eachEventCostsExactlyOneFileFlushOnceTheLogExists)
{
    TempTree tree;
    FaultInjectingFileOps ops;
    SessionStore store(tree.path(u"Sessions"_s), ops);
    const SortSession session = makeSession(5);
    decide(store, session, 0, PhotoDecision::keep, 0);
    const int before = ops.callCount(FileOps::Op::fsync);
    for (int i = 1; i < 5; ++i)
        decide(store, session, i, PhotoDecision::keep, 0);
    EXPECT_EQ(ops.callCount(FileOps::Op::fsync) - before, 4);
    const QByteArray bytes = readFile(store.eventLogPath(session.id));
    EXPECT_EQ(bytes.count('\n'), 5);
    EXPECT_TRUE(bytes.endsWith("}\n"));
    EXPECT_FALSE(bytes.contains("\n\n"));
}

TEST(SessionStoreLoad, loadSessionByIdReplaysAndReportsDamage)
{
    TempTree tree;
    SessionStore store(tree.path(u"Sessions"_s));
    SortSession session = makeSession(2);
    session.status = SortSessionStatus::completed;
    await(store.saveSnapshot(session));
    decide(store, session, 1, PhotoDecision::maybe, 0);
    EXPECT_EQ(await(store.loadSession(session.id)).photos[1].decision, PhotoDecision::maybe);
    EXPECT_THROW(await(store.loadSession(QUuid::createUuid())), FileSystemError);
    flipByte(store.eventLogPath(session.id), 0);
    EXPECT_THROW(await(store.loadSession(session.id)), SessionStoreError);
}
