#include "platform/DurableFile.h"

#include "FailureHelpers.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace kestrava;
using kestrava::test::fileErrorThrownBy;
using kestrava::test::readFile;
using kestrava::test::TempTree;
using Op = FileOps::Op;

namespace {

// Lets at most `limit` bytes through per write, so a failure can strike mid-record.
class ShortWriteOps : public FaultInjectingFileOps {
public:
    explicit ShortWriteOps(size_t limit) : limit_(limit) {}
    ssize_t write(int fd, const void* buffer, size_t count) override
    {
        return FaultInjectingFileOps::write(fd, buffer, std::min(count, limit_));
    }

private:
    size_t limit_;
};

} // namespace

TEST(DurableAppend, createsTheFileThenAppendsInOrderFlushingTheFolderOnlyOnce)
{
    TempTree tree;
    const QString path = tree.path("log.jsonl");
    FaultInjectingFileOps ops;
    durableAppend(path, "one\n", ops);
    EXPECT_EQ(ops.callCount(Op::fsync), 2); // file and folder
    durableAppend(path, "two\n", ops);
    EXPECT_EQ(ops.callCount(Op::fsync), 3); // the file only
    EXPECT_EQ(readFile(path), "one\ntwo\n");

    struct stat info {};
    ASSERT_EQ(::stat(QFile::encodeName(path).constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
}

// Every way a crash can leave the last line: the next append starts where the last whole
// line ended, and readers see only whole lines.
TEST(DurableLineFormat, theNextAppendCutsATornLastWriteAndNothingElse)
{
    const qint64 page = ::sysconf(_SC_PAGESIZE);
    const QByteArray whole = "{\"a\":1}\n{\"b\":\"\xc3\xa4\"}\n";
    const QByteArray longLine = "{\"x\":\"" + QByteArray(3 * page, 'x') + "\"}\n";
    struct Tail {
        const char* what;
        QByteArray bytes;
    };
    const QList<Tail> tails = {
        {"nothing torn", ""},
        {"torn mid-line", "{\"c\":"},
        {"torn inside a multi-byte character", "{\"c\":\"\xc3"},
        {"a whole record without its line feed", "{\"c\":3}"},
        {"a line longer than a page, torn", longLine.left(2 * page + 17)},
        {"blocks lost to a power cut, line feed kept", QByteArray(9, '\0') + "\"}\n"},
        {"a line longer than a page whose start was lost", QByteArray(page, '\0') + longLine.mid(page)},
    };
    for (const Tail& tail : tails) {
        SCOPED_TRACE(tail.what);
        TempTree tree;
        const QString path = tree.write("log.jsonl", whole + tail.bytes);
        EXPECT_EQ(wholeLinesLength(readFile(path)), whole.size());
        durableAppendLine(path, longLine);
        durableAppendLine(path, "{\"d\":4}\n");
        EXPECT_EQ(readFile(path), whole + longLine + "{\"d\":4}\n");
    }
}

TEST(DurableLineFormat, onlyTheLastLineCanBeTorn)
{
    // A NUL byte in an earlier line is damage for the reader to refuse, not a torn write.
    EXPECT_EQ(wholeLinesLength(QByteArrayLiteral("a\0\nb\n")), 5);
    EXPECT_EQ(wholeLinesLength(QByteArrayLiteral("a\nb\0\n")), 2);
    EXPECT_EQ(wholeLinesLength("\n"), 1);
    EXPECT_EQ(wholeLinesLength(QByteArrayLiteral("\0\n")), 0);
    EXPECT_EQ(wholeLinesLength("torn"), 0);
    EXPECT_EQ(wholeLinesLength(""), 0);

    TempTree tree;
    const QString path = tree.write("log.jsonl", QByteArrayLiteral("a\0\nb\n"));
    durableAppendLine(path, "c\n");
    EXPECT_EQ(readFile(path), QByteArrayLiteral("a\0\nb\nc\n"));
}

TEST(DurableLineFormat, linesAreWrittenAsTheyAreWithoutPadding)
{
    TempTree tree;
    const QString path = tree.path("log.jsonl");
    const QByteArray line = QByteArray(99, 'x') + '\n';
    QByteArray expected;
    for (int i = 0; i < 100; ++i) {
        durableAppendLine(path, line);
        expected += line;
    }
    EXPECT_EQ(readFile(path), expected);
}

TEST(DurableAppend, refusesToFollowASymbolicLink)
{
    TempTree tree;
    const QString target = tree.write("elsewhere", "keep");
    const QString link = tree.path("log.jsonl");
    ASSERT_TRUE(QFile::link(target, link));
    const FileSystemError error = fileErrorThrownBy([&] { durableAppend(link, "x\n"); });
    EXPECT_EQ(error.errorNumber(), ELOOP);
    EXPECT_EQ(readFile(target), "keep");
}

// Each step that can fail: the error names the file and the step, a failed flush is never
// retried on the same data, earlier records stay and the next append still works.
TEST(DurableAppendFailure, aFailedStepThrowsWithThePathAndKeepsEarlierRecords)
{
    using O = FileSystemError::Operation;
    for (const auto& [op, operation] : {std::pair{Op::write, O::write}, std::pair{Op::fsync, O::flush}, std::pair{Op::close, O::close}}) {
        SCOPED_TRACE(int(op));
        TempTree tree;
        const QString path = tree.path("log.jsonl");
        durableAppend(path, "first\n");

        FaultInjectingFileOps ops;
        ops.failAt(op, 1, EIO);
        const FileSystemError error = fileErrorThrownBy([&] { durableAppend(path, "second\n", ops); });
        EXPECT_EQ(error.operation(), operation);
        EXPECT_EQ(error.path(), path);
        EXPECT_EQ(error.errorNumber(), EIO);
        EXPECT_TRUE(error.description().contains(path));
        EXPECT_LE(ops.callCount(Op::fsync), 1);
        // What the kernel kept of a record whose flush or close failed is unknown.
        EXPECT_TRUE(readFile(path).startsWith("first\n"));
        if (op == Op::write)
            EXPECT_EQ(readFile(path), "first\n");
        durableAppend(path, "third\n");
        EXPECT_TRUE(readFile(path).endsWith("third\n"));
    }
}

TEST(DurableAppendFailure, diskFullMidRecordLeavesNoTornTail)
{
    TempTree tree;
    const QString path = tree.path("log.jsonl");
    durableAppend(path, "first\n");

    ShortWriteOps ops(3);
    ops.failAt(Op::write, 2, ENOSPC);
    const FileSystemError error = fileErrorThrownBy([&] { durableAppend(path, "second record\n", ops); });
    EXPECT_EQ(error.errorNumber(), ENOSPC);
    EXPECT_EQ(error.description(),
              QStringLiteral("„%1“ konnte nicht geschrieben werden: Auf dem Gerät ist kein Speicherplatz mehr verfügbar").arg(path));
    EXPECT_EQ(readFile(path), "first\n");
}

TEST(DurableAppendFailure, realFullDeviceReportsNoSpace)
{
    if (!QFileInfo::exists(QStringLiteral("/dev/full")))
        GTEST_SKIP() << "no /dev/full";
    const FileSystemError error = fileErrorThrownBy([] { durableAppend(QStringLiteral("/dev/full"), "x"); });
    EXPECT_EQ(error.errorNumber(), ENOSPC);
}

TEST(DurableAppendFailure, unwritableFolderFailsWithPermissionDenied)
{
    TempTree tree;
    const QString folder = tree.mkdir("locked");
    ASSERT_EQ(::chmod(QFile::encodeName(tree.root()).constData(), 0755), 0);
    ASSERT_EQ(::chmod(QFile::encodeName(folder).constData(), 0555), 0);
    const QString path = folder + "/log.jsonl";

    // Root writes anywhere, so the attempt runs as an unprivileged user in a child process.
    int answer = -1;
    if (::geteuid() == 0) {
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            if (::setgid(65534) != 0 || ::setuid(65534) != 0)
                ::_exit(200);
            ::_exit(fileErrorThrownBy([&] { durableAppend(path, "x\n"); }).errorNumber());
        }
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFEXITED(status));
        if (WEXITSTATUS(status) == 200)
            GTEST_SKIP() << "cannot drop privileges";
        answer = WEXITSTATUS(status);
    } else {
        answer = fileErrorThrownBy([&] { durableAppend(path, "x\n"); }).errorNumber();
    }
    ::chmod(QFile::encodeName(folder).constData(), 0700);
    EXPECT_EQ(answer, EACCES);
    EXPECT_FALSE(QFileInfo::exists(path));
}

TEST(ReadWholeFile, readsEverythingAndRefusesOversizedFiles)
{
    TempTree tree;
    QByteArray big(300000, 'q');
    const QString path = tree.write("big", big);
    EXPECT_EQ(readWholeFile(path), big);
    EXPECT_EQ(fileErrorThrownBy([&] { readWholeFile(path, 1000); }).errorNumber(), EFBIG);
    EXPECT_EQ(fileErrorThrownBy([&] { readWholeFile(tree.path("missing")); }).errorNumber(), ENOENT);
    // /proc files announce size 0 yet have content.
    EXPECT_FALSE(readWholeFile(QStringLiteral("/proc/self/mountinfo")).isEmpty());
}

TEST(EnsureDirectory, createsParentsAndAcceptsAnExistingFolderButNotAFile)
{
    TempTree tree;
    const QString deep = tree.path("a/b/c");
    ensureDirectory(deep);
    EXPECT_TRUE(QFileInfo(deep).isDir());
    ensureDirectory(deep);
    const QString file = tree.write("plain");
    EXPECT_EQ(fileErrorThrownBy([&] { ensureDirectory(file); }).errorNumber(), ENOTDIR);
    EXPECT_EQ(fileErrorThrownBy([&] { ensureDirectory(file + "/sub"); }).errorNumber(), ENOTDIR);
}

// The message names the file and what the system said, in German where the C library has it,
// and still the system's own text for a number without a translation.
TEST(FileSystemErrorText, namesTheFileAndTheSystemsReason)
{
    using O = FileSystemError::Operation;
    const FileSystemError missing(O::open, "/x", ENOENT);
    EXPECT_TRUE(missing.description().contains(QStringLiteral("„/x“"))) << missing.description().toStdString();
    EXPECT_TRUE(missing.description().endsWith(missing.reason()));
    EXPECT_NE(missing.reason(), QStringLiteral("No such file or directory")) << "one language, without a German locale too";
    EXPECT_FALSE(FileSystemError(O::read, "/x", ENOLINK).reason().isEmpty());
}
