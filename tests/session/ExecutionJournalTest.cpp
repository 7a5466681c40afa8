// A run's records journaled while its files go on: when a record counts, what a failed write
// leaves, and what a whole plan costs.

#include "SessionTestData.h"
#include "TestSupport.h"
#include "platform/FileSystemError.h"
#include "session/ExecutionJournal.h"

#include <QFile>
#include <QMutex>
#include <QSemaphore>
#include <cerrno>
#include <future>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;
using namespace Qt::StringLiterals;

namespace {

// Remembers how far each file was flushed, and can hold every flush until released.
class FlushWatchingOps : public FaultInjectingFileOps {
public:
    int open(const QByteArray& path, int flags, mode_t mode) override
    {
        const int fd = FaultInjectingFileOps::open(path, flags, mode);
        if (fd >= 0) {
            QMutexLocker guard(&mutex_);
            paths_.insert(fd, path);
        }
        return fd;
    }

    int fsync(int fd) override
    {
        if (held_) {
            gate_.acquire();
            gate_.release();
        }
        const int result = FaultInjectingFileOps::fsync(fd);
        struct stat info {};
        if (result == 0 && ::fstat(fd, &info) == 0) {
            QMutexLocker guard(&mutex_);
            flushed_.insert(paths_.value(fd), qint64(info.st_size));
        }
        return result;
    }

    void holdFlushes() { held_ = true; }
    void releaseFlushes()
    {
        gate_.release();
        held_ = false;
    }

    // What a power cut would leave of the file: its content up to its last flush.
    QByteArray flushedContent(const QString& path) const
    {
        qint64 length = 0;
        {
            QMutexLocker guard(&mutex_);
            length = flushed_.value(QFile::encodeName(path), 0);
        }
        return readFile(path).left(length);
    }

private:
    mutable QMutex mutex_;
    QHash<int, QByteArray> paths_;
    QHash<QByteArray, qint64> flushed_;
    std::atomic<bool> held_{false};
    QSemaphore gate_;
};

ExecutionRecord completed(const SortSession& session, int photo)
{
    const QString source = session.photos[photo].sourceURL.path();
    return {source, u"/Ziel/"_s + QFileInfo(source).fileName(), ExecutionActionStatus::completed, 1000, std::nullopt};
}

struct Acknowledged {
    ExecutionRecord record;
    qint64 sequence = 0;
    bool wasDurable = false;
};

struct JournalRig {
    TempTree tree;
    FlushWatchingOps ops;
    SessionStore store{tree.path(u"Sessions"_s), ops};
    SortSession session = makeSession(5);
    QMutex mutex;
    QList<Acknowledged> acknowledged;

    JournalRig() { await(store.saveSnapshot(session)); }

    ExecutionJournal::Acknowledge acknowledge()
    {
        return [this](const ExecutionRecord& record, qint64 sequence) {
            const bool durable = ops.flushedContent(store.eventLogPath(session.id)).contains(record.sourcePath.toUtf8());
            QMutexLocker guard(&mutex);
            acknowledged.append({record, sequence, durable});
        };
    }

    QList<ExecutionRecord> acknowledgedRecords()
    {
        QMutexLocker guard(&mutex);
        QList<ExecutionRecord> records;
        for (const Acknowledged& entry : std::as_const(acknowledged))
            records.append(entry.record);
        return records;
    }

    SortSession reloaded()
    {
        store.unlockSession(session.id);
        return await(SessionStore(store.baseDirectory()).loadSession(session.id));
    }
};

} // namespace

TEST(ExecutionJournal, handingOverDoesNotWaitForTheFlushAndEachRecordCountsOnlyOnceDurable)
{
    JournalRig rig;
    ExecutionJournal journal(rig.store, rig.session.id, 7, rig.acknowledge());

    // The caller goes on while the store's flush is held: the next file is not kept waiting.
    rig.ops.holdFlushes();
    auto handedOver = std::async(std::launch::async, [&] { journal.append(completed(rig.session, 0)); });
    ASSERT_EQ(handedOver.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_TRUE(rig.acknowledgedRecords().isEmpty()) << "acknowledged before its flush";
    rig.ops.releaseFlushes();

    for (int photo = 1; photo < 4; ++photo)
        journal.append(completed(rig.session, photo));
    journal.waitUntilDurable();

    ASSERT_EQ(rig.acknowledged.size(), 4);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(rig.acknowledged[i].record, completed(rig.session, i)) << "in the order handed over";
        EXPECT_EQ(rig.acknowledged[i].sequence, 8 + i);
        EXPECT_TRUE(rig.acknowledged[i].wasDurable) << i;
    }
    EXPECT_FALSE(journal.hasFailed());
    EXPECT_TRUE(journal.unsaved().isEmpty());
    const SortSession loaded = rig.reloaded();
    EXPECT_EQ(loaded.executionRecords.size(), 4);
    EXPECT_EQ(loaded.lastEventSequence, 11);
    EXPECT_EQ(readFile(rig.store.executionLogPath(rig.session.id)).count('\n'), 4);
}

TEST(ExecutionJournal, aRecordThatCannotBeWrittenStopsTheJournalAtTheNextHandOver)
{
    JournalRig rig;
    ExecutionJournal journal(rig.store, rig.session.id, 0, rig.acknowledge());
    journal.append(completed(rig.session, 0));
    journal.waitUntilDurable();
    const QByteArray logBefore = readFile(rig.store.eventLogPath(rig.session.id));

    // The next write is the second record's line; the disk is full from here on.
    rig.ops.failAt(FileOps::Op::write, 1, ENOSPC, true);
    journal.append(completed(rig.session, 1));
    try {
        journal.append(completed(rig.session, 2));
        FAIL() << "the hand-over after a failed record went through";
    } catch (const FileSystemError& error) {
        EXPECT_EQ(error.errorNumber(), ENOSPC);
        EXPECT_EQ(error.path(), rig.store.eventLogPath(rig.session.id)) << "the store's words name its file";
    }
    EXPECT_TRUE(journal.hasFailed());
    EXPECT_THROW(journal.append(completed(rig.session, 3)), FileSystemError);
    EXPECT_THROW(journal.waitUntilDurable(), FileSystemError);
    rig.ops.clearFaults();

    EXPECT_EQ(rig.acknowledgedRecords(), QList<ExecutionRecord>{completed(rig.session, 0)});
    EXPECT_EQ(journal.unsaved(), (QList<ExecutionRecord>{completed(rig.session, 1), completed(rig.session, 2),
                                                         completed(rig.session, 3)}));
    // Nothing after the failure reached the log, and the failed line was taken back.
    EXPECT_EQ(readFile(rig.store.eventLogPath(rig.session.id)), logBefore);
    EXPECT_EQ(rig.reloaded().executionRecords.keys(), QStringList{completed(rig.session, 0).sourcePath});
}

TEST(ExecutionJournal, aWholePlanCostsOneFlushPerLogAndFailsAsAWhole)
{
    JournalRig rig;
    // The logs exist already, as in a run whose review journaled its decisions.
    await(rig.store.appendExecution(completed(rig.session, 4), 0, rig.session.id));
    QList<ExecutionRecord> plan;
    for (int photo = 0; photo < 4; ++photo)
        plan.append({rig.session.photos[photo].sourceURL.path(), u"/Ziel/%1.JPG"_s.arg(photo),
                     ExecutionActionStatus::pending, 0, std::nullopt});

    const int flushesBefore = rig.ops.callCount(FileOps::Op::fsync);
    EXPECT_EQ(await(rig.store.appendExecutions(plan, 0, rig.session.id)), (QList<qint64>{2, 3, 4, 5}));
    EXPECT_EQ(rig.ops.callCount(FileOps::Op::fsync) - flushesBefore, 2);
    EXPECT_EQ(readFile(rig.store.executionLogPath(rig.session.id)).count('\n'), 5);

    // A plan whose flush fails leaves none of its records, and its numbers stay used.
    const QByteArray logBefore = readFile(rig.store.eventLogPath(rig.session.id));
    rig.ops.failAt(FileOps::Op::fsync, 1, EIO);
    for (ExecutionRecord& record : plan)
        record.destinationPath = *record.destinationPath + u".neu"_s;
    EXPECT_THROW(await(rig.store.appendExecutions(plan, 0, rig.session.id)), FileSystemError);
    rig.ops.clearFaults();
    EXPECT_EQ(readFile(rig.store.eventLogPath(rig.session.id)), logBefore);
    EXPECT_EQ(await(rig.store.appendExecution(completed(rig.session, 0), 0, rig.session.id)), 10);
    const SortSession loaded = rig.reloaded();
    EXPECT_EQ(loaded.executionRecords.value(plan[1].sourcePath).destinationPath, u"/Ziel/1.JPG"_s);
    EXPECT_EQ(loaded.executionRecords.value(plan[0].sourcePath), completed(rig.session, 0));
}
