#include "platform/DurableFile.h"

#include "FailureHelpers.h"
#include "Reservations.h"
#include "TestSupport.h"

#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <cerrno>
#include <unistd.h>
#include <thread>
#include <utility>
#include <fcntl.h>

using namespace kestrava;
using kestrava::test::allNames;
using kestrava::test::fileErrorThrownBy;
using kestrava::test::readFile;
using kestrava::test::TempTree;
using kestrava::test::KilledBeforeTheRename;
using Op = FileOps::Op;

TEST(CreateExclusive, createsAWritableFileOnce)
{
    TempTree tree;
    const QString path = tree.path("lock");
    UniqueFd fd = createExclusive(path);
    ASSERT_TRUE(fd.isValid());
    writeAll(fd.get(), "pid", 3, path);
    fd.close(path);
    EXPECT_FALSE(fd.isValid());
    EXPECT_EQ(readFile(path), "pid");
    EXPECT_EQ(fileErrorThrownBy([&] { createExclusive(path); }).errorNumber(), EEXIST);
}

TEST(CreateExclusive, refusesSymbolicLinksEvenDanglingOnes)
{
    TempTree tree;
    const QString existingTarget = tree.write("target", "keep");
    ASSERT_TRUE(QFile::link(existingTarget, tree.path("toFile")));
    ASSERT_TRUE(QFile::link(tree.path("nowhere"), tree.path("dangling")));
    EXPECT_EQ(fileErrorThrownBy([&] { createExclusive(tree.path("toFile")); }).errorNumber(), EEXIST);
    EXPECT_EQ(fileErrorThrownBy([&] { createExclusive(tree.path("dangling")); }).errorNumber(), EEXIST);
    EXPECT_FALSE(QFileInfo::exists(tree.path("nowhere")));
    EXPECT_EQ(readFile(existingTarget), "keep");
}

// The file systems a rename meets: the kernel's no-replace rename; none (a hard link and an
// unlink instead); and, as FAT and exFAT over FUSE, neither that nor hard links (EPERM), where
// the name is reserved by an empty file first.
enum class Support { noReplace, linkOnly, neither };

class LimitedOps : public FaultInjectingFileOps {
public:
    explicit LimitedOps(Support support)
    {
        if (support != Support::noReplace)
            failAt(Op::renameNoReplace, 1, EINVAL, true);
        if (support == Support::neither)
            failAt(Op::link, 1, EPERM, true);
    }
};

constexpr Support everySupport[] = {Support::noReplace, Support::linkOnly, Support::neither};

TEST(RenameExclusive, movesWhenTheNameIsFreeAndLeavesNothingElse)
{
    for (const Support support : everySupport) {
        SCOPED_TRACE(int(support));
        TempTree tree;
        const QString from = tree.write("a", "photo");
        LimitedOps ops(support);
        renameExclusive(from, tree.path("b"), ops);
        EXPECT_EQ(allNames(tree.root()), QStringList{"b"});
        EXPECT_EQ(readFile(tree.path("b")), "photo");
        if (support == Support::linkOnly) {
            EXPECT_EQ(ops.callCount(Op::link), 1);
            EXPECT_EQ(ops.callCount(Op::rename), 0);
        }
    }
}

TEST(RenameExclusive, neverReplacesAnOccupiedNameOfAnyKind)
{
    for (const Support support : everySupport) {
        SCOPED_TRACE(int(support));
        TempTree tree;
        const QString from = tree.write("a", "new");
        const QString occupied = tree.write("b", "old");
        const QString empty = tree.write("e", "");
        ASSERT_TRUE(QFile::link(tree.path("nowhere"), tree.path("c")));
        tree.mkdir("d");
        LimitedOps ops(support);
        for (const QString& name : {occupied, empty, tree.path("c"), tree.path("d")})
            EXPECT_EQ(fileErrorThrownBy([&] { renameExclusive(from, name, ops); }).errorNumber(), EEXIST) << name.toStdString();
        EXPECT_EQ(ops.callCount(Op::rename), 0);
        EXPECT_EQ(readFile(from), "new");
        EXPECT_EQ(readFile(occupied), "old");
        EXPECT_EQ(readFile(empty), "");
        EXPECT_TRUE(QFileInfo(tree.path("c")).isSymLink());
        EXPECT_FALSE(QFileInfo::exists(tree.path("nowhere")));
    }
}

// A failure at any step leaves the photo under its old name only (a reservation is taken
// back), and only a refused no-replace rename counts as missing support.
TEST(RenameExclusive, aFailedStepLeavesOnlyTheOriginalName)
{
    struct Case {
        const char* what;
        Support support;
        Op op;
        int errorNumber;
    };
    const Case cases[] = {
        {"no-replace rename refused for another reason", Support::noReplace, Op::renameNoReplace, EXDEV},
        {"hard link failing for another reason", Support::linkOnly, Op::link, EIO},
        {"unlink of the old name failing", Support::linkOnly, Op::unlink, EIO},
        {"rename onto the reservation failing", Support::neither, Op::rename, EIO},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        TempTree tree;
        const QString from = tree.write("a", "photo");
        LimitedOps ops(c.support);
        ops.failAt(c.op, 1, c.errorNumber);
        EXPECT_EQ(fileErrorThrownBy([&] { renameExclusive(from, tree.path("b"), ops); }).errorNumber(), c.errorNumber);
        EXPECT_EQ(allNames(tree.root()), QStringList{"a"});
        if (c.support != Support::neither)
            EXPECT_EQ(ops.callCount(Op::rename), 0);
        if (c.op == Op::renameNoReplace)
            EXPECT_EQ(ops.callCount(Op::link), 0);
    }
}

// Another writer puts its own file under the reserved name between reservation and rename.
class ReservationTakenOver : public LimitedOps {
public:
    explicit ReservationTakenOver(QByteArray foreign) : LimitedOps(Support::neither), foreign_(std::move(foreign)) {}
    int lstat(const QByteArray& path, struct stat* info) override
    {
        if (!done_ && QFile::exists(QFile::decodeName(path))) {
            done_ = true;
            // Written beside and renamed over, so that it cannot reuse the reservation's inode.
            const QString other = QFile::decodeName(path) + QLatin1String(".foreign");
            kestrava::test::writeFile(other, foreign_);
            ::rename(QFile::encodeName(other).constData(), path.constData());
        }
        return LimitedOps::lstat(path, info);
    }

private:
    QByteArray foreign_;
    bool done_ = false;
};

TEST(RenameExclusiveWithoutLinks, neverReplacesWhatIsNoLongerItsReservation)
{
    // A non-empty file, and an empty one with another inode: neither is ours to replace.
    for (const QByteArray& foreign : {QByteArray("foreign"), QByteArray()}) {
        TempTree tree;
        const QString from = tree.write("a", "photo");
        ReservationTakenOver ops(foreign);
        EXPECT_EQ(fileErrorThrownBy([&] { renameExclusive(from, tree.path("b"), ops); }).errorNumber(), EEXIST);
        EXPECT_EQ(ops.callCount(Op::rename), 0);
        EXPECT_EQ(readFile(from), "photo");
        EXPECT_EQ(readFile(tree.path("b")), foreign);
    }
}

TEST(FaultInjection, countsFromTheRuleAndRepeatsOnlyWhenAsked)
{
    TempTree tree;
    const QByteArray path = QFile::encodeName(tree.path("x"));
    FaultInjectingFileOps ops;
    struct stat info {};
    ops.failAt(Op::lstat, 2, EIO);
    EXPECT_EQ(ops.lstat(path, &info), -1); // ENOENT, not injected
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(ops.lstat(path, &info), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(ops.lstat(path, &info), -1);
    EXPECT_EQ(errno, ENOENT);

    ops.failAt(Op::mkdir, 1, EROFS, true);
    EXPECT_EQ(ops.mkdir(path, 0700), -1);
    EXPECT_EQ(ops.mkdir(path, 0700), -1);
    EXPECT_EQ(errno, EROFS);
    ops.clearFaults();
    EXPECT_EQ(ops.mkdir(path, 0700), 0);
    EXPECT_EQ(ops.callCount(Op::mkdir), 3);
}

TEST(AbandonedReservation, onlyAnEmptyFileThatStaysSoIsTakenAsAbandoned)
{
    TempTree tree;
    EXPECT_TRUE(isAbandonedReservation(tree.write("left", ""), FileOps::system(), 60));
    EXPECT_FALSE(isAbandonedReservation(tree.write("lock", "1234"), FileOps::system(), 60));
    EXPECT_FALSE(isAbandonedReservation(tree.path("missing"), FileOps::system(), 60));
    EXPECT_FALSE(isAbandonedReservation(tree.mkdir("folder"), FileOps::system(), 60));

    // A live process fills its reservation (renames its lock onto it) within the grace time.
    const QString reserved = tree.write("reserved", "");
    std::thread owner([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        const QString draft = tree.write("draft", "4321");
        ::rename(QFile::encodeName(draft).constData(), QFile::encodeName(reserved).constData());
    });
    EXPECT_FALSE(isAbandonedReservation(reserved, FileOps::system(), 5000));
    owner.join();
}

// What a killed rename leaves is recognisably Kestrava's; an empty file of anyone else's, or
// anything with content, is not.
TEST(MarkedReservation, onlyTheEmptyFileAKilledRenameLeftIsTakenAsOurs)
{
    TempTree tree;
    const QString from = tree.write("a", "photo");
    KilledBeforeTheRename ops;
    EXPECT_THROW(renameExclusive(from, tree.path("b"), ops), KilledBeforeTheRename::Killed);
    EXPECT_TRUE(isMarkedReservation(tree.path("b")));

    EXPECT_FALSE(isMarkedReservation(tree.write("stranger", "")));
    EXPECT_FALSE(isMarkedReservation(from));
    EXPECT_FALSE(isMarkedReservation(tree.path("missing")));
    // Content written into a reservation makes it a file like any other.
    struct stat reserved {};
    ASSERT_EQ(::stat(QFile::encodeName(tree.path("b")).constData(), &reserved), 0);
    QFile filled(tree.path("b"));
    ASSERT_TRUE(filled.open(QIODevice::Append));
    filled.write("x");
    filled.close();
    const timespec marked[2] = {reserved.st_atim, reserved.st_mtim};
    ASSERT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(tree.path("b")).constData(), marked, 0), 0);
    EXPECT_FALSE(isMarkedReservation(tree.path("b")));
}
