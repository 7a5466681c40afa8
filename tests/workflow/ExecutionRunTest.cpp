// A run whose records are journaled beside the copying: what counts when, what a journal that
// fails in the middle leaves, and that the next run finishes from there.

#include "PrivateTmpfs.h"
#include "WorkflowRig.h"
#include "session/SessionStore.h"
#include "workflow/ExecutionRun.h"

#include <QDirIterator>
#include <QMutex>
#include <QThread>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace kestrava;
using namespace kestrava::test;
using namespace Qt::StringLiterals;

namespace {

// The store's system calls, with flushes that can be made slow (a busy disk) and a chosen
// write of the event log that finds the disk full.
class StoreDiskOps : public FileOps {
public:
    int open(const QByteArray& path, int flags, mode_t mode) override
    {
        const int fd = FileOps::open(path, flags, mode);
        if (fd >= 0) {
            QMutexLocker guard(&mutex_);
            eventLogs_.insert(fd, path.endsWith(".events.jsonl"));
        }
        return fd;
    }
    ssize_t write(int fd, const void* buffer, size_t count) override
    {
        {
            QMutexLocker guard(&mutex_);
            if (eventLogs_.value(fd) && ++eventLogWrites_ == failingEventLogWrite) {
                errno = ENOSPC;
                return -1;
            }
        }
        return FileOps::write(fd, buffer, count);
    }
    int fsync(int fd) override
    {
        if (const int delay = delayMs.load())
            QThread::msleep(delay);
        return FileOps::fsync(fd);
    }

    std::atomic<int> delayMs{0};
    int failingEventLogWrite = 0; // 1-based; set before the run

private:
    QMutex mutex_;
    QHash<int, bool> eventLogs_;
    int eventLogWrites_ = 0;
};

struct RunRig {
    TempTree tree;
    QString source = tree.mkdir(u"Fotos"_s);
    QString result = tree.path(u"Ziel/Ergebnis"_s);
    StoreDiskOps storeOps;
    SessionStore store;
    QList<PhotoItem> items;
    QUuid sessionID = QUuid::createUuid();
    QMutex mutex;
    QList<ExecutionRecord> acknowledged;

    // `storeFolder`: where the session store keeps its files; beside the photos by default.
    explicit RunRig(int files, const QString& storeFolder = {})
        : store(storeFolder.isEmpty() ? tree.path(u"Sessions"_s) : storeFolder, storeOps)
    {
        QStringList names;
        for (int i = 0; i < files; ++i)
            names << u"SOLO_%1.JPG"_s.arg(i + 1);
        items = photosNamed(source, names);
        for (PhotoItem& item : items)
            item.decision = PhotoDecision::keep;
        writeFiles(items);
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

// The records' file names, for messages that read.
std::string namesOf(const QList<ExecutionRecord>& records)
{
    QStringList names;
    for (const ExecutionRecord& record : records)
        names.append(QFileInfo(record.sourcePath).fileName());
    return names.join(u' ').toStdString();
}

} // namespace

TEST(ExecutionRun, aRecordThatCannotBeJournaledStopsTheRunAtTheNextFileAndTheNextRunFinishesIt)
{
    RunRig rig(8);
    // The event log's writes: the plan's, then one per record. The third record's finds the
    // disk full.
    rig.storeOps.failingEventLogWrite = 1 + 3;
    const ExecutionOutcome stopped = rig.run();
    rig.storeOps.failingEventLogWrite = 0;

    EXPECT_FALSE(stopped.result.has_value());
    ASSERT_TRUE(stopped.failure.has_value());
    EXPECT_TRUE(stopped.failure->contains(u".events.jsonl"_s)) << stopped.failure->toStdString();
    EXPECT_TRUE(stopped.failure->contains(u"„SOLO_3.JPG“, „SOLO_4.JPG“"_s)) << stopped.failure->toStdString();
    // The failed record and the one handed over after it; no file later than that.
    EXPECT_EQ(namesOf(stopped.unsavedRecords), "SOLO_3.JPG SOLO_4.JPG");
    const QList<ExecutionRecord> counted = rig.acknowledgedWith(ExecutionActionStatus::completed);
    EXPECT_EQ(namesOf(counted), "SOLO_1.JPG SOLO_2.JPG");
    // What was acknowledged is exactly what the journal holds.
    QList<ExecutionRecord> journaledDone;
    for (const ExecutionRecord& record : rig.stored().executionRecords)
        if (record.status == ExecutionActionStatus::completed)
            journaledDone.append(record);
    EXPECT_EQ(journaledDone, counted);

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

// The same on a real full disk: the session store's own small volume fills up while the run
// goes on, the records after that cannot be written, and once space is freed the next run
// finishes with every photo exactly once and every record durable.
TEST(ExecutionRun, aSessionVolumeThatFillsUpInTheMiddleStopsTheRunAndTheNextRunFinishesIt)
{
    TempTree outer;
    const QString volume = outer.mkdir(u"Sitzungen"_s);
    const int result = inChildWithTmpfs(volume, "size=64k,mode=0700", [&]() -> int {
        RunRig rig(24, volume);
        // Everything taken but four pages: the plan fits, the records after it soon do not.
        const QByteArray filler = QFile::encodeName(volume + u"/filler"_s);
        const int fd = ::open(filler.constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        const QByteArray page(4096, 'f');
        off_t written = 0;
        while (::write(fd, page.constData(), size_t(page.size())) == page.size())
            written += page.size();
        if (fd < 0 || ::ftruncate(fd, written - 4 * page.size()) != 0)
            return 1;
        ::close(fd);

        const ExecutionOutcome stopped = rig.run();
        if (stopped.result || !stopped.failure)
            return 2;
        const QList<ExecutionRecord> counted = rig.acknowledgedWith(ExecutionActionStatus::completed);
        if (counted.isEmpty() || counted.size() >= rig.items.size())
            return 3; // the disk must fill in the middle of the run, not before or after it
        QList<ExecutionRecord> journaledDone;
        for (const ExecutionRecord& record : rig.stored().executionRecords)
            if (record.status == ExecutionActionStatus::completed)
                journaledDone.append(record);
        if (journaledDone.size() < counted.size())
            return 4; // a record counted that the journal does not hold

        ::unlink(filler.constData());
        const ExecutionOutcome finished = rig.run();
        if (!finished.result || !finished.result->errors.isEmpty())
            return 5;
        for (const ExecutionRecord& record : rig.stored().executionRecords)
            if (record.status != ExecutionActionStatus::completed)
                return 6;
        const QMap<QString, QByteArray> files = rig.resultFiles();
        if (files.size() != rig.items.size())
            return 7;
        for (const PhotoItem& item : std::as_const(rig.items))
            if (files.value(item.relativePath) != readFile(item.sourceURL.path()))
                return 8;
        return 0;
    });
    if (result == tmpfsRefused)
        GTEST_SKIP() << "mounting a tmpfs is not permitted here";
    EXPECT_EQ(result, 0);
}
