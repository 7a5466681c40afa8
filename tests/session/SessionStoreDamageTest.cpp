// One test per way a session's files can break or a write can fail.

#include "SessionTestData.h"
#include "TestSupport.h"
#include "platform/FileSystemError.h"
#include "session/SessionStoreError.h"

#include <QFile>
#include <cerrno>
#include <functional>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;
using namespace Qt::StringLiterals;

namespace {

struct TwoSessions {
    TempTree tree;
    SessionStore store{tree.path(u"Sessions"_s)};
    SortSession damaged = makeSession(3);
    SortSession healthy = makeSession(3);

    // The damaged one is the more recent, so hiding it is visible.
    TwoSessions()
    {
        healthy.updatedAt = at(9);
        damaged.updatedAt = at(10);
        await(store.saveSnapshot(healthy));
        await(store.saveSnapshot(damaged));
        for (int i = 0; i < 3; ++i)
            decide(store, damaged, i, PhotoDecision::keep, 0, i);
    }

    // Asserts that only the healthy session is offered and the damaged files are untouched.
    void expectOnlyHealthyOfferedAndFilesUnchanged()
    {
        const QByteArray snapshot = readFile(store.snapshotPath(damaged.id));
        const QByteArray log = readFile(store.eventLogPath(damaged.id));
        SessionStore restarted(store.baseDirectory());
        const auto loaded = await(restarted.loadLatestIncomplete());
        ASSERT_TRUE(loaded.has_value());
        EXPECT_EQ(loaded->id, healthy.id);
        EXPECT_EQ(readFile(store.snapshotPath(damaged.id)), snapshot);
        EXPECT_EQ(readFile(store.eventLogPath(damaged.id)), log);
    }
};

} // namespace

// A crash during the last append leaves a write that was never acknowledged: the session
// goes on from its last whole event, and the next decision is not glued to the torn line.
TEST(SessionFileDamage, tornLastLineIsIgnoredAndNeverContinued)
{
    for (const int cut : {1, 7}) {
        TwoSessions fixture;
        const QString log = fixture.store.eventLogPath(fixture.damaged.id);
        truncateFile(log, QFile(log).size() - cut);
        // The process that wrote the log is gone: its lock goes with it.
        fixture.store.unlockSession(fixture.damaged.id);
        SessionStore restarted(fixture.store.baseDirectory());
        SortSession loaded = await(restarted.loadSession(fixture.damaged.id));
        EXPECT_TRUE(loaded.photos[1].decision.has_value());
        EXPECT_FALSE(loaded.photos[2].decision.has_value());
        await(restarted.append(SessionEventKind::decision, {loaded.photos[2].sourceURL.path()}, PhotoDecision::del,
                               std::nullopt, 2, loaded.lastEventSequence, loaded.id));
        restarted.unlockSession(loaded.id);
        loaded = await(SessionStore(fixture.store.baseDirectory()).loadSession(fixture.damaged.id));
        EXPECT_EQ(loaded.photos[2].decision, PhotoDecision::del);
    }
}

// An edited or foreign file hides its session, never the others, and is left as it is.
TEST(SessionFileDamage, editedLogOrSnapshotHidesTheSession)
{
    struct Damage {
        const char* what;
        std::function<void(const QString& snapshot, const QString& log)> apply;
    };
    const Damage damages[] = {
        {"edited event record", [](const QString&, const QString& log) { flipByte(log, 0); }}, // "{" becomes "z"
        {"event log that is not UTF-8",
         [](const QString&, const QString& log) { writeFile(log, readFile(log) + "\xff\xfe\n"); }},
        {"edited snapshot", [](const QString& snapshot, const QString&) { flipByte(snapshot, 0); }},
        {"truncated snapshot", [](const QString& snapshot, const QString&) { writeFile(snapshot, readFile(snapshot).left(100)); }},
        {"snapshot from a future version",
         [](const QString& snapshot, const QString&) {
             QJsonObject future = json::parseObject(readFile(snapshot));
             future.insert(u"version"_s, 4);
             writeFile(snapshot, json::toCompactJson(future));
         }},
    };
    for (const Damage& damage : damages) {
        SCOPED_TRACE(damage.what);
        TwoSessions fixture;
        damage.apply(fixture.store.snapshotPath(fixture.damaged.id), fixture.store.eventLogPath(fixture.damaged.id));
        fixture.expectOnlyHealthyOfferedAndFilesUnchanged();
    }
}

TEST(SessionFileDamage, swappedEventLinesStillReplayInFileOrder)
{
    // Reordered lines are not damage by themselves: each event is applied as it comes, and
    // lines at or below the running sequence are skipped like snapshot-covered ones.
    TwoSessions fixture;
    swapLines(fixture.store.eventLogPath(fixture.damaged.id), 0, 2);
    SessionStore restarted(fixture.store.baseDirectory());
    const auto loaded = await(restarted.loadLatestIncomplete());
    ASSERT_TRUE(loaded.has_value());
    EXPECT_EQ(loaded->id, fixture.damaged.id);
    EXPECT_EQ(loaded->lastEventSequence, 3);
    EXPECT_EQ(loaded->photos[2].decision, PhotoDecision::keep);
    EXPECT_FALSE(loaded->photos[0].decision.has_value()); // event 1 came after event 3
}

TEST(SessionStoreFailure, unwritableFolderIsReportedByEveryOperation)
{
    TempTree tree;
    const QString blocker = tree.write(u"blocker"_s, "a file, not a folder");
    SessionStore store(blocker + u"/Sessions"_s);
    const SortSession session = makeSession(1);
    EXPECT_THROW(await(store.saveSnapshot(session)), FileSystemError);
    EXPECT_THROW(await(store.append(SessionEventKind::decision, {u"/a"_s}, PhotoDecision::keep, std::nullopt, 0, 0, session.id)),
                 FileSystemError);
    EXPECT_THROW(await(store.appendExecution({u"/a"_s, std::nullopt, ExecutionActionStatus::pending, 0, std::nullopt}, 0, session.id)),
                 FileSystemError);
    EXPECT_THROW(await(store.loadLatestIncomplete()), FileSystemError);
    EXPECT_EQ(readFile(blocker), QByteArray("a file, not a folder"));
}

TEST(SessionStoreFailure, constructingAStoreCreatesNothing)
{
    TempTree tree;
    SessionStore store(tree.path(u"not/yet"_s));
    EXPECT_FALSE(QFileInfo::exists(tree.path(u"not"_s)));
    await(store.loadLatestIncomplete());
    EXPECT_TRUE(QFileInfo(tree.path(u"not/yet"_s)).isDir());
}

TEST(SessionStoreFailure, failedWriteOrFlushIsThrownNumberStaysUsedAndLogStaysReadable)
{
    for (const FileOps::Op op : {FileOps::Op::write, FileOps::Op::fsync, FileOps::Op::open}) {
        TempTree tree;
        FaultInjectingFileOps ops;
        SessionStore store(tree.path(u"Sessions"_s), ops);
        const SortSession session = makeSession(4);
        await(store.saveSnapshot(session));
        const auto decide = [&](int photo) { return test::decide(store, session, photo, PhotoDecision::del, 0, photo); };
        EXPECT_EQ(decide(0), 1);
        ops.failAt(op, 1, op == FileOps::Op::write ? ENOSPC : EIO);
        try {
            decide(1);
            ADD_FAILURE() << "failure not reported";
        } catch (const FileSystemError& error) {
            EXPECT_TRUE(error.errorNumber() == ENOSPC || error.errorNumber() == EIO);
            EXPECT_TRUE(error.path().endsWith(u".events.jsonl"_s));
        }
        ops.clearFaults();
        EXPECT_EQ(decide(2), 3) << int(op);

        SessionStore restarted(tree.path(u"Sessions"_s));
        const auto loaded = await(restarted.loadLatestIncomplete());
        ASSERT_TRUE(loaded.has_value()) << int(op);
        EXPECT_EQ(loaded->photos[0].decision, PhotoDecision::del);
        EXPECT_EQ(loaded->photos[2].decision, PhotoDecision::del);
        EXPECT_EQ(loaded->lastEventSequence, 3);
        // The failed event is gone from the file, whatever part of it had reached the disk:
        // the caller undid it, and a replay must not bring it back.
        EXPECT_FALSE(loaded->photos[1].decision.has_value()) << int(op);
        EXPECT_EQ(readFile(store.eventLogPath(session.id)).count('\n'), 2) << int(op);
    }
}

// When even cutting the failed line off fails, the line is still in the file. The store then
// reads past it nowhere (a load in the same run does not see it) and removes it before the
// next event; until it can, appends fail rather than write behind it.
TEST(SessionStoreFailure, failedFlushWhoseLineCannotBeCutOffNeverComesBack)
{
    TempTree tree;
    FaultInjectingFileOps ops;
    SessionStore store(tree.path(u"Sessions"_s), ops);
    const SortSession session = makeSession(4);
    await(store.saveSnapshot(session));
    const auto decide = [&](int photo) { return test::decide(store, session, photo, PhotoDecision::del, 0, photo); };
    EXPECT_EQ(decide(0), 1);
    ops.failAt(FileOps::Op::fsync, 1, EIO);
    ops.failAt(FileOps::Op::ftruncate, 1, EIO, true);
    EXPECT_THROW(decide(1), FileSystemError);
    EXPECT_EQ(readFile(store.eventLogPath(session.id)).count('\n'), 2); // the line is there…

    const SortSession sameRun = await(store.loadSession(session.id));
    EXPECT_EQ(sameRun.photos[0].decision, PhotoDecision::del);
    EXPECT_FALSE(sameRun.photos[1].decision.has_value()); // …but does not count
    EXPECT_EQ(sameRun.lastEventSequence, 1);

    EXPECT_THROW(decide(2), FileSystemError); // cannot cut it yet: nothing is written behind it
    EXPECT_EQ(readFile(store.eventLogPath(session.id)).count('\n'), 2);

    ops.clearFaults();
    EXPECT_EQ(decide(3), 4);
    const QList<QByteArray> lines = readFile(store.eventLogPath(session.id)).trimmed().split('\n');
    ASSERT_EQ(lines.size(), 2);
    EXPECT_TRUE(lines[0].contains("\"sequence\":1"));
    EXPECT_TRUE(lines[1].contains("\"sequence\":4"));

    SessionStore restarted(tree.path(u"Sessions"_s));
    const auto loaded = await(restarted.loadLatestIncomplete());
    ASSERT_TRUE(loaded.has_value());
    EXPECT_EQ(loaded->photos[0].decision, PhotoDecision::del);
    EXPECT_FALSE(loaded->photos[1].decision.has_value());
    EXPECT_FALSE(loaded->photos[2].decision.has_value());
    EXPECT_EQ(loaded->photos[3].decision, PhotoDecision::del);
    EXPECT_EQ(loaded->lastEventSequence, 4);
}

TEST(SessionStoreFailure, executionLogFailureIsReportedAfterTheEventIsDurable)
{
    TempTree tree;
    FaultInjectingFileOps ops;
    SessionStore store(tree.path(u"Sessions"_s), ops);
    const SortSession session = makeSession(1);
    await(store.saveSnapshot(session));
    // The event append flushes the new log and its folder; the text log's flush comes third.
    ops.failAt(FileOps::Op::fsync, 3, EIO);
    const QString source = session.photos[0].sourceURL.path();
    EXPECT_THROW(await(store.appendExecution({source, u"/Ziel/a"_s, ExecutionActionStatus::completed, 1, std::nullopt}, 0, session.id)),
                 FileSystemError);
    ops.clearFaults();
    const auto loaded = await(store.loadLatestIncomplete());
    ASSERT_TRUE(loaded.has_value());
    EXPECT_EQ(loaded->executionRecords.value(source).status, ExecutionActionStatus::completed);
}

TEST(SessionStoreFailure, failedSnapshotLeavesThePreviousOneIntact)
{
    TempTree tree;
    FaultInjectingFileOps ops;
    SessionStore store(tree.path(u"Sessions"_s), ops);
    SortSession session = makeSession(2);
    await(store.saveSnapshot(session));
    const QByteArray before = readFile(store.snapshotPath(session.id));
    session.updatedAt = at(11);
    session.photos[0].decision = PhotoDecision::keep;
    ops.failAt(FileOps::Op::write, 1, ENOSPC);
    EXPECT_THROW(await(store.saveSnapshot(session)), FileSystemError);
    EXPECT_EQ(readFile(store.snapshotPath(session.id)), before);
    // The snapshot and the session's lock, no temporary.
    EXPECT_EQ(QDir(store.baseDirectory()).entryList(QDir::Files | QDir::Hidden).size(), 2);
}
