#include "platform/DurableFile.h"

#include "FailureHelpers.h"
#include "TestSupport.h"

#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <cerrno>

using namespace kestrava;
using kestrava::test::allNames;
using kestrava::test::fileErrorThrownBy;
using kestrava::test::readFile;
using kestrava::test::TempTree;
using Op = FileOps::Op;

TEST(AtomicReplace, createsAndReplacesWithoutLeftoversFlushingFileAndFolder)
{
    TempTree tree;
    const QString path = tree.path("session.kestrava");
    atomicReplace(path, "old");
    EXPECT_EQ(readFile(path), "old");
    FaultInjectingFileOps ops;
    atomicReplace(path, "new content", ops);
    EXPECT_EQ(ops.callCount(Op::fsync), 2);
    EXPECT_EQ(ops.callCount(Op::rename), 1);
    EXPECT_EQ(readFile(path), "new content");
    EXPECT_EQ(allNames(tree.root()), QStringList{"session.kestrava"});
}

TEST(AtomicReplace, replacesASymbolicLinkNotItsTarget)
{
    TempTree tree;
    const QString target = tree.write("target", "untouched");
    const QString link = tree.path("doc");
    ASSERT_TRUE(QFile::link(target, link));
    atomicReplace(link, "new");
    EXPECT_EQ(readFile(target), "untouched");
    EXPECT_FALSE(QFileInfo(link).isSymLink());
    EXPECT_EQ(readFile(link), "new");
}

// Each way the replacement can fail: the old content stays whole and no temporary file remains.
class AtomicReplaceFailure : public ::testing::TestWithParam<std::tuple<Op, int, FileSystemError::Operation>> {};

TEST_P(AtomicReplaceFailure, keepsTheOldContentAndRemovesTheTemporaryFile)
{
    const auto [op, errorNumber, expectedOperation] = GetParam();
    TempTree tree;
    const QString path = tree.path("session.kestrava");
    atomicReplace(path, "old content");

    FaultInjectingFileOps ops;
    ops.failAt(op, 1, errorNumber);
    const FileSystemError error = fileErrorThrownBy([&] { atomicReplace(path, QByteArray(100000, 'n'), ops); });
    EXPECT_EQ(error.path(), path);
    EXPECT_EQ(error.errorNumber(), errorNumber);
    EXPECT_EQ(error.operation(), expectedOperation);
    EXPECT_EQ(readFile(path), "old content");
    EXPECT_EQ(allNames(tree.root()), QStringList{"session.kestrava"});
    // A failed flush is never retried on the same data.
    EXPECT_LE(ops.callCount(Op::fsync), 1);
}

INSTANTIATE_TEST_SUITE_P(
    EachStep, AtomicReplaceFailure,
    ::testing::Values(std::make_tuple(Op::open, EACCES, FileSystemError::Operation::write),
                      std::make_tuple(Op::write, ENOSPC, FileSystemError::Operation::write),
                      std::make_tuple(Op::write, EDQUOT, FileSystemError::Operation::write),
                      std::make_tuple(Op::fsync, EIO, FileSystemError::Operation::flush),
                      std::make_tuple(Op::close, EIO, FileSystemError::Operation::close),
                      std::make_tuple(Op::rename, EXDEV, FileSystemError::Operation::rename)));

TEST(AtomicReplaceFailure, folderFlushFailureIsReportedAfterTheNewContentIsInPlace)
{
    TempTree tree;
    const QString path = tree.path("doc");
    atomicReplace(path, "old");
    FaultInjectingFileOps ops;
    ops.failAt(Op::fsync, 2, EIO);
    const FileSystemError error = fileErrorThrownBy([&] { atomicReplace(path, "new", ops); });
    EXPECT_EQ(error.operation(), FileSystemError::Operation::flush);
    EXPECT_EQ(error.path(), tree.root());
    EXPECT_EQ(allNames(tree.root()), QStringList{"doc"});
}

TEST(AtomicReplaceFailure, missingFolderFailsWithoutCreatingAnything)
{
    TempTree tree;
    const FileSystemError error = fileErrorThrownBy([&] { atomicReplace(tree.path("gone/doc"), "x"); });
    EXPECT_EQ(error.errorNumber(), ENOENT);
    EXPECT_TRUE(allNames(tree.root()).isEmpty());
}

// A new document appears whole or not at all, and never in place of something already there.
TEST(AtomicCreate, writesANewFileButNeverReplacesOne)
{
    TempTree tree;
    const QString path = tree.path("decisions.csv");
    FaultInjectingFileOps counting;
    atomicCreate(path, "Datei,Format\n", counting);
    EXPECT_EQ(readFile(path), "Datei,Format\n");
    EXPECT_EQ(counting.callCount(Op::fsync), 2);

    const FileSystemError occupied = fileErrorThrownBy([&] { atomicCreate(path, "other"); });
    EXPECT_EQ(occupied.errorNumber(), EEXIST);
    EXPECT_EQ(occupied.path(), path);
    EXPECT_EQ(readFile(path), "Datei,Format\n");

    const QString target = tree.write("target", "untouched");
    const QString dangling = tree.path("dangling.csv");
    ASSERT_TRUE(QFile::link(tree.path("nowhere"), dangling));
    ASSERT_TRUE(QFile::link(target, tree.path("link.csv")));
    EXPECT_EQ(fileErrorThrownBy([&] { atomicCreate(dangling, "x"); }).errorNumber(), EEXIST);
    EXPECT_EQ(fileErrorThrownBy([&] { atomicCreate(tree.path("link.csv"), "x"); }).errorNumber(), EEXIST);
    EXPECT_EQ(readFile(target), "untouched");
    EXPECT_FALSE(QFileInfo::exists(tree.path("nowhere")));
    EXPECT_EQ(allNames(tree.root()), (QStringList{"dangling.csv", "decisions.csv", "link.csv", "target"}));
}

TEST(AtomicCreate, aFailedWriteOrFlushLeavesNoFileAtAll)
{
    for (const auto& [op, errorNumber] : {std::pair{Op::write, ENOSPC}, std::pair{Op::fsync, EIO},
                                          std::pair{Op::renameNoReplace, EACCES}}) {
        SCOPED_TRACE(int(op));
        TempTree tree;
        const QString path = tree.path("export.csv");
        FaultInjectingFileOps ops;
        ops.failAt(op, 1, errorNumber);
        const FileSystemError error = fileErrorThrownBy([&] { atomicCreate(path, QByteArray(100000, 'n'), ops); });
        EXPECT_EQ(error.errorNumber(), errorNumber);
        EXPECT_EQ(error.path(), path);
        EXPECT_TRUE(allNames(tree.root()).isEmpty());
    }
}
