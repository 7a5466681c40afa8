// A run whose records are journaled beside the copying: what counts when, what a journal that
// fails in the middle leaves, and that the next run finishes from there.

#include "WorkflowRig.h"
#include "session/SessionStore.h"
#include "workflow/ExecutionRun.h"

#include <QDirIterator>
#include <QMutex>
#include <QThread>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;
using namespace Qt::StringLiterals;

namespace {

// The store's system calls, with flushes that can be made slow (a busy disk).
class SlowFlushOps : public FaultInjectingFileOps {
public:
    int fsync(int fd) override
    {
        if (const int delay = delayMs.load())
            QThread::msleep(delay);
        return FaultInjectingFileOps::fsync(fd);
    }
    std::atomic<int> delayMs{0};
};

struct RunRig {
    TempTree tree;
    QString source = tree.mkdir(u"Fotos"_s);
    QString result = tree.path(u"Ziel/Ergebnis"_s);
    SlowFlushOps storeOps;
    SessionStore store{tree.path(u"Sessions"_s), storeOps};
    QList<PhotoItem> items;
    QUuid sessionID = QUuid::createUuid();
    QMutex mutex;
    QList<ExecutionRecord> acknowledged;

    explicit RunRig(int files)
    {
        QStringList names;
        for (int i = 0; i < files; ++i)
            names << u"SOLO_%1.JPG"_s.arg(i + 1);
        items = photosNamed(source, names);
        for (PhotoItem& item : items) {
            item.decision = PhotoDecision::keep;
            QByteArray bytes = item.relativePath.toUtf8();
            bytes.append(QByteArray(int(item.fileSize) - bytes.size(), 'x'));
            writeFile(item.sourceURL.path(), bytes);
            QFile file(item.sourceURL.path());
            EXPECT_TRUE(file.open(QIODevice::ReadWrite));
            EXPECT_TRUE(file.setFileTime(item.modificationDate, QFileDevice::FileModificationTime));
        }
        SortSession session;
        session.id = sessionID;
        session.createdAt = session.updatedAt = QDateTime(QDate(2026, 3, 1), QTime(9, 0), Qt::UTC);
        session.sourceFolder = FileUrl::fromLocalPath(source);
        session.photos = items;
        session.status = SortSessionStatus::running;
        store.saveSnapshot(session).waitForFinished();
    }

    // Runs the plan over what the journal holds, as a resume would.
    ExecutionOutcome run()
    {
        const SortSession journaled = stored();
        ExecutionRequest request;
        request.items = items;
        request.options.destinationRoot = FileUrl::fromLocalPath(result);
        request.options.groupByDate = false;
        request.records = journaled.executionRecords;
        request.store = &store;
        request.sessionID = sessionID;
        request.lastEventSequence = journaled.lastEventSequence;
        request.exists = [](const QString& path) { return QFileInfo::exists(path); };
        return ExecutionRun::run(request, [](const SortProgress&) {},
                                 [this](const ExecutionRecord& record, qint64) {
                                     QMutexLocker guard(&mutex);
                                     acknowledged.append(record);
                                 },
                                 {});
    }

    SortSession stored() { return store.loadSession(sessionID).result(); }

    QList<ExecutionRecord> acknowledgedWith(ExecutionActionStatus status)
    {
        QMutexLocker guard(&mutex);
        QList<ExecutionRecord> found;
        for (const ExecutionRecord& record : std::as_const(acknowledged))
            if (record.status == status)
                found.append(record);
        return found;
    }

    // Each result file by name, with its content.
    QMap<QString, QByteArray> resultFiles() const
    {
        QMap<QString, QByteArray> files;
        QDirIterator it(result, QDir::Files, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            it.next();
            if (!it.fileName().startsWith(u'.'))
                files.insert(it.fileName(), readFile(it.filePath()));
        }
        return files;
    }
};

QStringList sourcesOf(const QList<ExecutionRecord>& records)
{
    QStringList sources;
    for (const ExecutionRecord& record : records)
        sources.append(record.sourcePath);
    return sources;
}

} // namespace

TEST(ExecutionRun, aRecordThatCannotBeJournaledStopsTheRunAtTheNextFileAndTheNextRunFinishesIt)
{
    RunRig rig(8);
    // The store's writes: the plan's events and its text-log lines, then two per record. The
    // third record's event finds the disk full.
    rig.storeOps.failAt(FileOps::Op::write, 2 + 2 * 2 + 1, ENOSPC);
    const ExecutionOutcome stopped = rig.run();
    rig.storeOps.clearFaults();

    EXPECT_FALSE(stopped.result.has_value());
    ASSERT_TRUE(stopped.failure.has_value());
    EXPECT_TRUE(stopped.failure->contains(u".events.jsonl"_s)) << stopped.failure->toStdString();
    EXPECT_TRUE(stopped.failure->contains(u"„SOLO_3.JPG“, „SOLO_4.JPG“"_s)) << stopped.failure->toStdString();
    // The failed record and the one handed over after it; no file later than that.
    EXPECT_EQ(sourcesOf(stopped.unsavedRecords), (QStringList{rig.items[2].sourceURL.path(), rig.items[3].sourceURL.path()}));
    const QList<ExecutionRecord> counted = rig.acknowledgedWith(ExecutionActionStatus::completed);
    EXPECT_EQ(sourcesOf(counted), (QStringList{rig.items[0].sourceURL.path(), rig.items[1].sourceURL.path()}));
    // What was acknowledged is exactly what the journal holds.
    const SortSession afterStop = rig.stored();
    for (const PhotoItem& item : std::as_const(rig.items)) {
        const ExecutionRecord record = afterStop.executionRecords.value(item.sourceURL.path());
        EXPECT_EQ(record.status == ExecutionActionStatus::completed, sourcesOf(counted).contains(item.sourceURL.path()))
            << item.relativePath.toStdString();
    }

    // The next run, on a slow disk: its outcome waits for the last of its records.
    rig.storeOps.delayMs = 30;
    const ExecutionOutcome finished = rig.run();
    ASSERT_TRUE(finished.result.has_value()) << finished.failure.value_or(QString()).toStdString();
    EXPECT_TRUE(finished.result->errors.isEmpty()) << finished.result->errors.join('\n').toStdString();
    EXPECT_EQ(finished.result->organizedCount + finished.result->skippedCount, 8);
    EXPECT_EQ(rig.acknowledgedWith(ExecutionActionStatus::completed).size(), 8);
    for (const ExecutionRecord& record : rig.stored().executionRecords)
        EXPECT_EQ(record.status, ExecutionActionStatus::completed) << record.sourcePath.toStdString();
    const QMap<QString, QByteArray> files = rig.resultFiles();
    ASSERT_EQ(files.size(), 8) << "every photo exactly once";
    for (const PhotoItem& item : std::as_const(rig.items))
        EXPECT_EQ(files.value(item.relativePath), readFile(item.sourceURL.path())) << item.relativePath.toStdString();
}
