// The result folder's lock: held by a live run it blocks, left by a dead one it is taken over,
// and whatever cannot be read counts as held.

#include "execution/OperationLock.h"
#include "execution/ResumableSortError.h"

#include "ExecutionTestSupport.h"
#include "PosixHelpers.h"

#include "platform/FileSystemError.h"

#include <QCoreApplication>
#include <QProcess>

#include <sys/stat.h>
#include <unistd.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

bool blocksWithAlreadyRunning(const QString& root)
{
    try {
        OperationLock lock(FileUrl::fromLocalPath(root));
    } catch (const ResumableSortError& error) {
        return error.kind() == ResumableSortError::Kind::operationAlreadyRunning;
    }
    return false;
}

} // namespace

TEST(OperationLock, holdsThePidCreatesTheFolderAndReleasesOnce)
{
    TempTree tree;
    const QString root = tree.path("new/result");
    {
        OperationLock lock(FileUrl::fromLocalPath(root));
        const QString lockPath = root + "/.kestrava.lock";
        EXPECT_EQ(readFile(lockPath), QByteArray::number(QCoreApplication::applicationPid()));
        struct stat info {};
        ASSERT_EQ(::stat(QFile::encodeName(lockPath).constData(), &info), 0);
        EXPECT_EQ(info.st_mode & 0777, 0600u);
        // A second run in the same process (another window) is kept out too.
        EXPECT_TRUE(blocksWithAlreadyRunning(root));
        lock.release();
        EXPECT_TRUE(lock.isReleased());
        EXPECT_FALSE(QFileInfo::exists(lockPath));
        // Someone else's lock taken after the release survives our second release and the destructor.
        writeFile(lockPath, "1");
        lock.release();
    }
    EXPECT_TRUE(QFileInfo::exists(root + "/.kestrava.lock"));
}

// A lock file naming this very process: held while a run of this process holds it (a second
// window must wait), stale once that run is over but could not remove it (a folder turned
// read-only), or the window retrying the run would be told forever that it is running.
TEST(OperationLock, thisProcessesLockBlocksOnlyWhileARunHoldsIt)
{
    TempTree tree;
    const QString lockPath = tree.path(".kestrava.lock");
    {
        OperationLock held(FileUrl::fromLocalPath(tree.root()));
        EXPECT_TRUE(blocksWithAlreadyRunning(tree.root()));
    }
    EXPECT_FALSE(QFileInfo::exists(lockPath)) << "destroying the lock releases it";
    tree.write(".kestrava.lock", QByteArray::number(QCoreApplication::applicationPid()));
    EXPECT_FALSE(blocksWithAlreadyRunning(tree.root()));
    EXPECT_FALSE(QFileInfo::exists(lockPath));
}

// A dead owner's lock is taken over; so is an empty one, which on FAT and exFAT a run killed
// between reserving the lock's name and renaming its lock onto it leaves behind.
TEST(OperationLock, staleOrEmptyLockIsTakenOver)
{
    const qint64 dead = pidOfReapedProcess();
    ASSERT_GT(dead, 0);
    for (const QByteArray& content : {QByteArray::number(dead) + "\n", QByteArray()}) {
        TempTree tree;
        tree.write(".kestrava.lock", content);
        OperationLock lock(FileUrl::fromLocalPath(tree.root()));
        EXPECT_EQ(readFile(tree.path(".kestrava.lock")), QByteArray::number(QCoreApplication::applicationPid()));
    }
}

// A live owner (init never goes away), and whatever cannot be read or makes no sense, holds.
TEST(OperationLock, liveUnreadableOrGarbledLockBlocks)
{
    for (const QByteArray& content : {QByteArray(" 1\n"), QByteArray("garbage"), QByteArray("99999999999"), QByteArray("-5")}) {
        TempTree tree;
        tree.write(".kestrava.lock", content);
        EXPECT_TRUE(blocksWithAlreadyRunning(tree.root())) << content.constData();
        EXPECT_EQ(readFile(tree.path(".kestrava.lock")), content);
    }
    // A lock that cannot be read at all (here a folder of that name) is held as well.
    TempTree tree;
    tree.mkdir(".kestrava.lock");
    EXPECT_TRUE(blocksWithAlreadyRunning(tree.root()));
}

TEST(OperationLock, failingRemovalOfStaleLockIsReported)
{
    TempTree tree;
    tree.write(".kestrava.lock", QByteArray::number(pidOfReapedProcess()));
    FaultInjectingFileOps ops;
    ops.failAt(FileOps::Op::unlink, 1, EACCES);
    try {
        OperationLock lock(FileUrl::fromLocalPath(tree.root()), ops);
        ADD_FAILURE() << "lock taken although the stale lock could not be removed";
    } catch (const FileSystemError& error) {
        EXPECT_EQ(error.errorNumber(), EACCES);
    }
}

// The lock is written under a private name and renamed into place, so no moment exists at which
// a kill leaves an empty lock that would block the folder for good. A draft whose writer died
// is cleared by the next run; one of a live process is left for its rename.
TEST(OperationLock, appearsOnlyWholeAndClearsDraftsOfDeadRuns)
{
    TempTree tree;
    const QString dead = QString::number(pidOfReapedProcess());
    tree.write(".kestrava.lock." + dead + ".0f0f", dead.toLatin1());
    tree.write(".kestrava.lock.1.0f0f", "1"); // init never goes away
    {
        OperationLock lock(FileUrl::fromLocalPath(tree.root()));
        EXPECT_EQ(readFile(tree.path(".kestrava.lock")), QByteArray::number(QCoreApplication::applicationPid()));
        const QStringList left = QDir(tree.root()).entryList(QDir::Files | QDir::Hidden | QDir::System);
        EXPECT_EQ(left, (QStringList{".kestrava.lock", ".kestrava.lock.1.0f0f"}));
    }

    // A draft that cannot be written or renamed leaves neither a lock nor itself behind.
    for (const FileOps::Op op : {FileOps::Op::write, FileOps::Op::renameNoReplace}) {
        TempTree empty;
        FaultInjectingFileOps ops;
        ops.failAt(op, 1, op == FileOps::Op::write ? ENOSPC : EIO);
        EXPECT_THROW(OperationLock(FileUrl::fromLocalPath(empty.root()), ops), FileSystemError);
        EXPECT_TRUE(QDir(empty.root()).entryList(QDir::Files | QDir::Hidden | QDir::System).isEmpty());
        EXPECT_FALSE(blocksWithAlreadyRunning(empty.root()));
    }
}
