// The executor by failure mode: existing names, changed sources, injected write and flush
// failures, leftovers of a killed run, resumption, moves and cancellation.

#include "execution/ResumableSortError.h"

#include "ExecutionTestSupport.h"

#include <QRegularExpression>

#include <condition_variable>
#include <mutex>

#include <sys/stat.h>

using namespace kestrava;
using namespace kestrava::test;
namespace Executor = kestrava::ResumableSortExecutor;

namespace {

struct Fixture {
    TempTree tree;
    QString src = tree.mkdir("src");
    QString out = tree.path("out");
    QString keep = tree.path("out/JPEG/Behalten");
    QList<PhotoItem> items;

    PhotoItem& add(const QString& name, const QByteArray& bytes)
    {
        const QString path = tree.write("src/" + name, bytes);
        // Whole seconds, as the session document stores dates.
        QFile file(path);
        file.open(QIODevice::ReadWrite);
        file.setFileTime(QDateTime(QDate(2024, 3, 1), QTime(10, 0), Qt::UTC), QFileDevice::FileModificationTime);
        file.close();
        items.append(photoAt(src, name));
        return items.last();
    }
    SortExecutionPlan plan(SortOperationMode mode = SortOperationMode::safeCopy,
                           VerificationMode verification = VerificationMode::fileSize,
                           const QMap<QString, ExecutionRecord>& records = {}) const
    {
        return Executor::buildPlan(items, optionsFor(out, mode, verification), records);
    }
};

// Fails the flush of a temporary copy holding `content` once armed: copies are flushed on
// threads of their own, in no fixed order, so the file is picked by what it holds.
struct FlushFailsForContent : FaultInjectingFileOps {
    explicit FlushFailsForContent(QByteArray content) : content(std::move(content)) {}
    int fsync(int fd) override
    {
        const QString path = QFile::symLinkTarget(QString("/proc/self/fd/%1").arg(fd));
        if (armed && path.endsWith(".partial") && readFile(path) == content) {
            errno = EIO;
            return -1;
        }
        return FaultInjectingFileOps::fsync(fd);
    }
    const QByteArray content;
    std::atomic<bool> armed{false};
};

ino_t inodeOf(const QString& path)
{
    struct stat info {};
    return ::stat(QFile::encodeName(path).constData(), &info) == 0 ? info.st_ino : 0;
}

} // namespace

TEST(SortExecutor, copiesKeepDatesNeverOverwriteAndReportEveryOutcome)
{
    Fixture f;
    f.add("a.jpg", "alpha");
    f.add("b.jpg", "bravo!");
    f.tree.write("out/JPEG/Behalten/a.jpg", "someone else's");
    const auto plan = f.plan(SortOperationMode::safeCopy, VerificationMode::sha256);
    RecordLog log;
    QList<SortProgress> progress;
    auto handlers = log.handlers();
    handlers.progress = [&](const SortProgress& p) { progress.append(p); };
    const SortResult result = Executor::executeSynchronously(plan, true, handlers);

    EXPECT_EQ(result.organizedCount, 2);
    EXPECT_TRUE(result.errors.isEmpty());
    EXPECT_EQ(readFile(f.keep + "/a.jpg"), "someone else's");
    EXPECT_EQ(readFile(f.keep + "/a 2.jpg"), "alpha");
    EXPECT_EQ(readFile(f.keep + "/b.jpg"), "bravo!");
    EXPECT_EQ(QFileInfo(f.keep + "/b.jpg").lastModified(), QFileInfo(f.src + "/b.jpg").lastModified());
    EXPECT_EQ(filesBelow(f.out), (QStringList{"JPEG/Behalten/a 2.jpg", "JPEG/Behalten/a.jpg", "JPEG/Behalten/b.jpg"}));
    ASSERT_EQ(log.inOrder.size(), 2);
    EXPECT_EQ(log.inOrder[1], (ExecutionRecord{f.src + "/b.jpg", f.keep + "/b.jpg", ExecutionActionStatus::completed, 6,
                                              std::nullopt}));
    EXPECT_EQ(result.records, log.inOrder);
    ASSERT_FALSE(progress.isEmpty());
    EXPECT_EQ(progress.last().phase, SortPhase::finished);
    EXPECT_EQ(progress.last().completedFiles, 2);
    EXPECT_EQ(progress.last().completedBytes, 11);
    EXPECT_EQ(readFile(f.src + "/a.jpg"), "alpha");
}

TEST(SortExecutor, changedSourceFailsOnlyThatFile)
{
    Fixture f;
    f.add("grown.jpg", "1234");
    f.add("touched.jpg", "xx");
    f.add("tolerated.jpg", "yy");
    f.add("fine.jpg", "zz");
    // Replaced by a pipe since: a source that is read ahead of its copy must not hold up the
    // run (a pipe opened for reading waits for a writer).
    f.add("piped.jpg", "pp");
    f.items[0].fileSize = 3;
    f.items[1].modificationDate = f.items[1].modificationDate.addMSecs(1001);
    f.items[2].modificationDate = f.items[2].modificationDate.addMSecs(-1000); // exactly 1.0 s: tolerated
    ASSERT_TRUE(QFile::remove(f.src + "/piped.jpg"));
    ASSERT_EQ(::mkfifo(QFile::encodeName(f.src + "/piped.jpg").constData(), 0600), 0);
    const SortResult result =
        Executor::executeSynchronously(f.plan(SortOperationMode::safeCopy, VerificationMode::sha256), true, {});

    EXPECT_EQ(result.organizedCount, 2);
    EXPECT_EQ(result.errors, (QStringList{"Die Quelldatei „grown.jpg“ wurde seit der Bewertung verändert.",
                                          "Die Quelldatei „piped.jpg“ wurde seit der Bewertung verändert.",
                                          "Die Quelldatei „touched.jpg“ wurde seit der Bewertung verändert."}));
    EXPECT_EQ(filesBelow(f.out), (QStringList{"JPEG/Behalten/fine.jpg", "JPEG/Behalten/tolerated.jpg"}));
    EXPECT_EQ(result.records[1].sourcePath, f.src + "/grown.jpg");
    EXPECT_EQ(result.records[1].status, ExecutionActionStatus::failed);
}

// A failed write or flush fails that one file, leaves no temporary behind, and the file is
// copied again from scratch by the next run (the flush is never simply repeated).
TEST(SortExecutor, injectedWriteOrFlushFailureFailsOnlyThatFileAndLeavesNothingVisible)
{
    for (const FileOps::Op op : {FileOps::Op::write, FileOps::Op::fsync}) {
        Fixture f;
        f.add("1.jpg", "one");
        f.add("2.jpg", "two");
        f.add("3.jpg", "three");
        FlushFailsForContent ops("two");
        // The two lock files' writes (source, result folder) come first, then one per file,
        // all on the run's thread. Any error but a full disk, which stops the whole run instead.
        if (op == FileOps::Op::write)
            ops.failAt(op, 4, EIO);
        else
            ops.armed = true; // 2.jpg's flush fails, on whichever thread finishes it
        RecordLog log;
        const SortResult result = Executor::executeSynchronously(f.plan(), true, log.handlers(), ops);
        ops.clearFaults();
        ops.armed = false;

        EXPECT_EQ(result.organizedCount, 2) << int(op);
        ASSERT_EQ(result.errors.size(), 1);
        EXPECT_TRUE(result.errors[0].contains(f.keep + "/2.jpg")) << result.errors[0].toStdString();
        EXPECT_EQ(log.bySource.value(f.src + "/2.jpg").status, ExecutionActionStatus::failed);
        EXPECT_EQ(filesBelow(f.out), (QStringList{"JPEG/Behalten/1.jpg", "JPEG/Behalten/3.jpg"}));

        // The next run copies it anew.
        const SortResult again = Executor::executeSynchronously(f.plan(SortOperationMode::safeCopy,
                                                                       VerificationMode::fileSize, log.bySource),
                                                               true, log.handlers(), ops);
        EXPECT_EQ(again.organizedCount, 1);
        EXPECT_EQ(again.skippedCount, 2);
        EXPECT_EQ(readFile(f.keep + "/2.jpg"), "two");
    }
}

TEST(SortExecutor, leftoverTemporaryIsNeverTakenForAResultAndIsCleanedUp)
{
    Fixture f;
    f.add("a.jpg", "complete content");
    RecordLog log;
    const auto plan = f.plan();
    log.addPending(plan);
    // A killed run left half a copy behind.
    f.tree.write("out/JPEG/Behalten/.kestrava-0F2B1C84-0000-4000-8000-000000000000.partial", "complete");
    const auto resumed = f.plan(SortOperationMode::safeCopy, VerificationMode::fileSize, log.bySource);
    ASSERT_FALSE(resumed.actions[0].shouldSkip);
    const SortResult result = Executor::executeSynchronously(resumed, true, log.handlers());
    EXPECT_EQ(result.organizedCount, 1);
    EXPECT_EQ(filesBelow(f.out), QStringList{"JPEG/Behalten/a.jpg"});
    EXPECT_EQ(readFile(f.keep + "/a.jpg"), "complete content");
}

// A copy counts only once its name is durable: when the result folder cannot be flushed after
// the rename, the record is not "completed" (a completed session is never looked at again) and
// nothing is left under the name; the next run copies it there.
TEST(SortExecutor, copyWhoseNameCannotBeMadeDurableDoesNotCount)
{
    class FolderFlushFails : public FileOps {
    public:
        QString folder;
        int fsync(int fd) override
        {
            const QString path = QFile::symLinkTarget(QStringLiteral("/proc/self/fd/%1").arg(fd));
            if (!folder.isEmpty() && path == folder) {
                errno = EIO;
                return -1;
            }
            return FileOps::fsync(fd);
        }
    };
    Fixture f;
    f.add("a.jpg", "aaaa");
    RecordLog log;
    log.addPending(f.plan());
    FolderFlushFails ops;
    QDir().mkpath(f.keep);
    ops.folder = QFileInfo(f.keep).canonicalFilePath();
    const SortResult result = Executor::executeSynchronously(f.plan(), true, log.handlers(), ops);
    EXPECT_EQ(result.organizedCount, 0);
    EXPECT_EQ(log.bySource.value(f.src + "/a.jpg").status, ExecutionActionStatus::failed);
    EXPECT_TRUE(filesBelow(f.out).isEmpty());

    const SortResult again = Executor::executeSynchronously(
        f.plan(SortOperationMode::safeCopy, VerificationMode::fileSize, log.bySource), true, log.handlers());
    EXPECT_EQ(again.organizedCount, 1);
    EXPECT_EQ(filesBelow(f.out), QStringList{"JPEG/Behalten/a.jpg"});
}

TEST(SortExecutor, resumeKeepsNamesSkipsFinishedWorkAndRejectsWrongResults)
{
    Fixture f;
    f.add("a.jpg", "aaaa");
    f.add("b.jpg", "bbbb");
    f.add("c.jpg", "cccc");
    f.tree.write("out/JPEG/Behalten/b.jpg", "foreign"); // b goes to "b 2.jpg"
    RecordLog log;
    const auto first = f.plan();
    log.addPending(first);
    auto cancelAfterFirst = log.handlers();
    // Asked before the first file and once its copy is under way; from the next file on, the
    // user has cancelled.
    int asked = 0;
    cancelAfterFirst.isCanceled = [&] { return asked++ >= 2; };
    const SortResult stopped = Executor::executeSynchronously(first, true, cancelAfterFirst);
    EXPECT_TRUE(stopped.cancelled);
    EXPECT_EQ(stopped.pendingCount, 2);
    EXPECT_EQ(stopped.errors, QStringList{"Die Sortierung wurde abgebrochen und kann später fortgesetzt werden."});
    EXPECT_FALSE(QFileInfo::exists(f.out + "/.kestrava.lock"));

    // Meanwhile the foreign file vanished; the resumed run still uses the name it promised.
    QFile::remove(f.keep + "/b.jpg");
    // And c's copy reached its place before the run was killed, without being journaled.
    writeFile(f.keep + "/c.jpg", "cccc");
    const auto second = f.plan(SortOperationMode::safeCopy, VerificationMode::sha256, log.bySource);
    EXPECT_EQ(second.actions[1].destinationURL.fileName(), "b 2.jpg");
    const SortResult resumed = Executor::executeSynchronously(second, true, log.handlers());
    EXPECT_EQ(resumed.skippedCount, 2);
    EXPECT_EQ(resumed.organizedCount, 1);
    EXPECT_EQ(filesBelow(f.out), (QStringList{"JPEG/Behalten/a.jpg", "JPEG/Behalten/b 2.jpg", "JPEG/Behalten/c.jpg"}));
    EXPECT_EQ(log.bySource.value(f.src + "/c.jpg").status, ExecutionActionStatus::completed);

    // A completed file that was damaged afterwards is not accepted with sha256.
    flipByte(f.keep + "/a.jpg", 0);
    const SortResult checked = Executor::executeSynchronously(
        f.plan(SortOperationMode::safeCopy, VerificationMode::sha256, log.bySource), true, log.handlers());
    EXPECT_EQ(checked.errors, QStringList{"Die Kopie von „a.jpg“ konnte nicht verifiziert werden."});
    // With fileSize the same-size damage passes (that is what the cheaper mode means).
    const SortResult sized = Executor::executeSynchronously(
        f.plan(SortOperationMode::safeCopy, VerificationMode::fileSize, log.bySource), true, log.handlers());
    EXPECT_TRUE(sized.errors.isEmpty());
}

TEST(SortExecutor, moveWithinVolumeIsARenameAndMoveIsFinishedOnResume)
{
    Fixture f;
    f.add("a.jpg", "aaaa");
    f.add("b.jpg", "bbbb");
    const ino_t inode = inodeOf(f.src + "/a.jpg");
    RecordLog log;
    const auto plan = f.plan(SortOperationMode::moveOriginals);
    log.addPending(plan);
    // b was copied but the run was killed before it removed the original.
    f.tree.write("out/JPEG/Behalten/b.jpg", "bbbb");
    const auto resumed = f.plan(SortOperationMode::moveOriginals, VerificationMode::fileSize, log.bySource);
    const SortResult result = Executor::executeSynchronously(resumed, true, log.handlers());

    EXPECT_EQ(result.organizedCount, 1);
    EXPECT_EQ(result.skippedCount, 1);
    EXPECT_EQ(inodeOf(f.keep + "/a.jpg"), inode);
    EXPECT_TRUE(filesBelow(f.src).isEmpty());
    EXPECT_EQ(readFile(f.keep + "/b.jpg"), "bbbb");
}

// A stranger's file of the right size at a pending destination is never taken for the moved
// photo: the photo goes to a new name and the stranger stays as it was.
TEST(SortExecutor, moveWhosePendingDestinationHoldsAStrangerTakesANewName)
{
    for (const VerificationMode verification : {VerificationMode::fileSize, VerificationMode::sha256}) {
        Fixture f;
        f.add("b.jpg", "bbbb");
        RecordLog log;
        log.addPending(f.plan(SortOperationMode::moveOriginals, verification));
        f.tree.write("out/JPEG/Behalten/b.jpg", "BBBB"); // same size, other content
        const SortResult result = Executor::executeSynchronously(
            f.plan(SortOperationMode::moveOriginals, verification, log.bySource), true, log.handlers());
        EXPECT_TRUE(result.errors.isEmpty()) << result.errors.join(' ').toStdString();
        EXPECT_EQ(readFile(f.keep + "/b.jpg"), "BBBB");
        EXPECT_EQ(readFile(f.keep + "/b 2.jpg"), "bbbb");
        EXPECT_FALSE(QFile::exists(f.src + "/b.jpg"));
        EXPECT_EQ(log.bySource.value(f.src + "/b.jpg").destinationPath, f.keep + "/b 2.jpg");
    }
}

TEST(SortExecutor, lockHeldByAnotherRunStopsBeforeAnythingIsTouched)
{
    Fixture f;
    f.add("a.jpg", "a");
    f.tree.write("out/.kestrava.lock", "1");
    RecordLog log;
    EXPECT_THROW(Executor::executeSynchronously(f.plan(), true, log.handlers()), ResumableSortError);
    EXPECT_TRUE(log.inOrder.isEmpty());
    EXPECT_EQ(filesBelow(f.out), QStringList{".kestrava.lock"});
}

TEST(SortExecutor, backgroundRunHandsOverRecordsInOrderAfterTheirFilesAndKeepsResultWhenCancelled)
{
    Fixture f;
    constexpr int count = 12;
    for (int i = 0; i < count; ++i)
        f.add(QString("%1.jpg").arg(i, 2, 10, QLatin1Char('0')), QByteArray(100, char('a' + i)));
    auto cancel = std::make_shared<CancellationFlag>();
    QList<ExecutionRecord> handedOver;
    QList<QStringList> visibleAtRecord;
    const QString keep = f.keep;
    QFuture<SortResult> run = Executor::execute(f.plan(), {}, [&](const ExecutionRecord& record) {
        handedOver.append(record);
        // Later files may be under way in hidden temporaries, or already finished.
        visibleAtRecord.append(filesBelow(keep).filter(QRegularExpression("^(?!\\.kestrava-.*\\.partial$)")));
        if (handedOver.size() == 3)
            cancel->cancel();
    }, cancel);
    run.waitForFinished();
    const SortResult result = run.result();
    EXPECT_TRUE(result.cancelled);
    // The copies already finishing when the cancel came end as they end; no further one starts.
    EXPECT_GE(result.organizedCount, 3);
    EXPECT_LT(result.organizedCount, count);
    EXPECT_EQ(result.pendingCount, count - result.organizedCount);
    ASSERT_EQ(result.records.size(), count);
    QStringList completed;
    for (int i = 0; i < count; ++i) {
        const ExecutionRecord& record = result.records[i];
        const QString name = QFileInfo(record.sourcePath).fileName();
        EXPECT_EQ(name, QString("%1.jpg").arg(i, 2, 10, QLatin1Char('0')));
        EXPECT_EQ(record.status, i < result.organizedCount ? ExecutionActionStatus::completed : ExecutionActionStatus::pending)
            << name.toStdString();
        if (record.status == ExecutionActionStatus::completed)
            completed.append(name);
    }
    // Records come in plan order, each only once its file and every earlier one stand under
    // their names.
    ASSERT_EQ(handedOver.size(), result.organizedCount);
    for (int i = 0; i < handedOver.size(); ++i) {
        EXPECT_EQ(handedOver[i].sourcePath, result.records[i].sourcePath);
        for (int earlier = 0; earlier <= i; ++earlier)
            EXPECT_TRUE(visibleAtRecord[i].contains(completed[earlier])) << i << ": " << earlier;
    }
    // The files dropped unfinished left no temporary behind.
    EXPECT_EQ(filesBelow(keep), completed);
}

// A sidecar goes along as a file of its own, verified and journaled, but the counts the user
// reads are photos: one RAW with its sidecar is one organized photo.
TEST(SortExecutor, sidecarIsJournaledOnItsOwnButCountsAsPartOfItsPhoto)
{
    Fixture f;
    f.add("a.CR3", "raw bytes");
    f.tree.write("src/a.xmp", "<rating 5>");
    RecordLog log;
    QList<SortProgress> progress;
    auto handlers = log.handlers();
    handlers.progress = [&](const SortProgress& p) { progress.append(p); };
    const SortResult result = Executor::executeSynchronously(f.plan(SortOperationMode::moveOriginals), true, handlers);
    EXPECT_EQ(result.organizedCount, 1);
    // The screen counts what the result counts: one photo, its sidecar part of it.
    ASSERT_FALSE(progress.isEmpty());
    for (const SortProgress& p : std::as_const(progress))
        EXPECT_EQ(p.totalFiles, 1);
    EXPECT_EQ(progress.last().completedFiles, 1);
    EXPECT_TRUE(result.errors.isEmpty());
    EXPECT_EQ(log.inOrder.size(), 2);
    EXPECT_EQ(log.bySource.value(f.src + "/a.xmp").status, ExecutionActionStatus::completed);
    EXPECT_EQ(filesBelow(f.out), (QStringList{"RAW/Behalten/a.CR3", "RAW/Behalten/a.xmp"}));
    EXPECT_TRUE(filesBelow(f.src).isEmpty());
}

// Copies finish side by side, and a small sidecar would be done long before its large photo:
// yet it must never stand under its name before the photo does, or a run cut off in between
// leaves it beside whatever later takes the photo's name. The photo's rename holds on until
// the sidecar's could have overtaken it.
TEST(SortExecutor, sidecarAppearsOnlyAfterItsPhoto)
{
    Fixture f;
    f.add("a.CR3", QByteArray(300000, 'r'));
    f.tree.write("src/a.xmp", "<rating 5>");
    struct RecordsRenames : FileOps {
        std::mutex mutex;
        std::condition_variable changed;
        QStringList renamed;
        int renameNoReplace(const QByteArray& from, const QByteArray& to) override
        {
            const QString name = QFileInfo(QFile::decodeName(to)).fileName();
            std::unique_lock lock(mutex);
            if (name == "a.CR3")
                changed.wait_for(lock, std::chrono::milliseconds(300), [&] { return renamed.contains("a.xmp"); });
            const int result = FileOps::renameNoReplace(from, to);
            if (!name.startsWith('.')) // the run's locks
                renamed.append(name);
            changed.notify_all();
            return result;
        }
    } ops;
    RecordLog log;
    const SortResult result = Executor::executeSynchronously(f.plan(), true, log.handlers(), ops);
    EXPECT_TRUE(result.errors.isEmpty()) << result.errors.join(' ').toStdString();
    EXPECT_EQ(ops.renamed, (QStringList{"a.CR3", "a.xmp"}));
}
