#include "PosixHelpers.h"
#include "TestSupport.h"

#include "platform/FileOps.h"
#include "platform/FileSystemError.h"
#include "trash/TrashOperationLock.h"
#include "trash/TrashTransactionError.h"

#include <QFile>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

QString lockPath(const TempTree& tree)
{
    return tree.path(QStringLiteral("active-trash.lock"));
}

bool lockRefused(const TempTree& tree)
{
    try {
        TrashOperationLock lock(tree.root());
        return false;
    } catch (const TrashTransactionError& error) {
        EXPECT_EQ(error.kind(), TrashTransactionError::Kind::transactionAlreadyRunning);
        return true;
    }
}

} // namespace

TEST(TrashOperationLock, holdsOwnPidWithOwnerOnlyPermissionsAndIsReleasedOnce)
{
    TempTree tree;
    {
        TrashOperationLock lock(tree.root());
        EXPECT_EQ(readFile(lockPath(tree)), QByteArray::number(qint64(::getpid())));
        struct stat info {};
        ASSERT_EQ(::stat(QFile::encodeName(lockPath(tree)).constData(), &info), 0);
        EXPECT_EQ(info.st_mode & 0777, 0600u);
        EXPECT_TRUE(lockRefused(tree)) << "a live owner (this very process) blocks";
        lock.release();
        EXPECT_FALSE(QFile::exists(lockPath(tree)));
        TrashOperationLock again(tree.root()); // and the destructor of `lock` must not remove this one
    }
    EXPECT_FALSE(QFile::exists(lockPath(tree)));
}

TEST(TrashOperationLock, staleLockOfDeadProcessIsTakenOver)
{
    TempTree tree;
    writeFile(lockPath(tree), QByteArray::number(pidOfReapedProcess()) + "\n");
    TrashOperationLock lock(tree.root());
    EXPECT_EQ(readFile(lockPath(tree)), QByteArray::number(qint64(::getpid())));
}

TEST(TrashOperationLock, liveOrUnreadableOwnerBlocks)
{
    TempTree tree;
    writeFile(lockPath(tree), "1"); // init: alive, and not ours (EPERM counts as alive)
    EXPECT_TRUE(lockRefused(tree));
    EXPECT_EQ(readFile(lockPath(tree)), QByteArray("1"));

    for (const QByteArray& garbage : {QByteArray("not a pid"), QByteArray(), QByteArray("0"), QByteArray("-1")}) {
        writeFile(lockPath(tree), garbage);
        EXPECT_TRUE(lockRefused(tree)) << garbage.constData();
        EXPECT_EQ(readFile(lockPath(tree)), garbage);
    }
}

TEST(TrashOperationLock, symbolicLinkAtTheLockNameIsNotFollowed)
{
    TempTree tree;
    const QByteArray victimContent = QByteArray::number(pidOfReapedProcess());
    const QString victim = tree.write(QStringLiteral("victim"), victimContent);
    ASSERT_EQ(::symlink(QFile::encodeName(victim).constData(), QFile::encodeName(lockPath(tree)).constData()), 0);
    // The link's target names a dead process, but the lock is only ever created in place.
    try {
        TrashOperationLock lock(tree.root());
        struct stat info {};
        ASSERT_EQ(::lstat(QFile::encodeName(lockPath(tree)).constData(), &info), 0);
        EXPECT_TRUE(S_ISREG(info.st_mode));
    } catch (const TrashTransactionError&) {
    }
    EXPECT_EQ(readFile(victim), victimContent);
}

// A lock that cannot be written is a folder that cannot hold the journal: the user hears the
// system's reason, never that another session were running, and nothing is left behind.
TEST(TrashOperationLock, unwritableLockNamesTheSystemsReasonNotAnotherSession)
{
    for (const auto& [op, errorNumber] : {std::pair{FileOps::Op::write, ENOSPC}, std::pair{FileOps::Op::link, EPERM}}) {
        TempTree tree;
        FaultInjectingFileOps ops;
        ops.failAt(op, 1, errorNumber);
        try {
            TrashOperationLock lock(tree.root(), ops);
            ADD_FAILURE() << "locked although the " << int(op) << " failed";
        } catch (const TrashTransactionError& error) {
            EXPECT_EQ(error.kind(), TrashTransactionError::Kind::journalUnavailable);
            EXPECT_TRUE(error.description().endsWith(FileSystemError(FileSystemError::Operation::write, {}, errorNumber).reason()))
                << error.description().toStdString();
        }
        EXPECT_EQ(filesBelow(tree.root()), QStringList()) << "a draft or lock was left behind";
        ops.clearFaults();
        TrashOperationLock lock(tree.root(), ops);
    }
}
