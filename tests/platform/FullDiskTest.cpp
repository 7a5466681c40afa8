// A real full disk: a 64 KiB tmpfs mounted in a private mount namespace of a child process,
// so the mount vanishes with the child even if the test crashes. Skips where mounting is not
// permitted (ordinary users, most CI containers).

#include "platform/DurableFile.h"
#include "platform/VolumeInfo.h"

#include "TestSupport.h"

#include <QDir>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <cerrno>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace kestrava;
using kestrava::test::TempTree;

namespace {

constexpr int kSkip = 77;

// Runs `scenario` in a child inside a fresh 64 KiB tmpfs at `mountPoint`; returns its exit
// code (0 on success, the failing step's number otherwise, kSkip when mounting is refused).
template <class Scenario>
int inSmallTmpfs(const QString& mountPoint, Scenario scenario)
{
    const QByteArray target = QFile::encodeName(mountPoint);
    const pid_t child = ::fork();
    if (child < 0)
        return -1;
    if (child == 0) {
        if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0
            || ::mount("tmpfs", target.constData(), "tmpfs", 0, "size=64k,mode=0700") != 0)
            ::_exit(kSkip);
        int step = 0;
        try {
            step = scenario();
        } catch (...) {
            step = 99;
        }
        ::_exit(step);
    }
    int status = 0;
    if (::waitpid(child, &status, 0) != child || !WIFEXITED(status))
        return -2;
    return WEXITSTATUS(status);
}

// Step number of the first failed check, 0 when all hold.
int expectFailureWithNoSpace(const std::function<void()>& call)
{
    try {
        call();
    } catch (const FileSystemError& error) {
        return error.errorNumber() == ENOSPC ? 0 : 50;
    }
    return 51;
}

} // namespace

TEST(FullDisk, failedWritesLeaveEarlierContentWholeAndNoTemporaryFiles)
{
    TempTree tree;
    const QString root = tree.mkdir("volume");
    const int result = inSmallTmpfs(root, [&]() -> int {
        const QString document = root + "/session.kestrava";
        const QString log = root + "/events.jsonl";
        atomicReplace(document, QByteArray(16 << 10, 'o'));
        durableAppend(log, "first\n");

        if (int step = expectFailureWithNoSpace([&] { atomicReplace(document, QByteArray(100 << 10, 'n')); }))
            return step + 1;
        if (kestrava::test::readFile(document) != QByteArray(16 << 10, 'o'))
            return 2;
        if (QDir(root).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot).size() != 2)
            return 3;

        if (int step = expectFailureWithNoSpace([&] { durableAppend(log, QByteArray(100 << 10, 'x')); }))
            return step + 4;
        if (kestrava::test::readFile(log) != "first\n")
            return 5;
        // The space freed by the cleanup is usable again.
        durableAppend(log, "second\n");
        if (kestrava::test::readFile(log) != "first\nsecond\n")
            return 6;

        const std::optional<VolumeFacts> facts = volumeFacts(root + "/missing/child");
        if (!facts || facts->format != "tmpfs" || facts->mountPoint != root || facts->uuid)
            return 7;
        if (facts->availableBytes <= 0 || facts->availableBytes > (64 << 10))
            return 8;
        return 0;
    });
    if (result == kSkip)
        GTEST_SKIP() << "mounting a tmpfs is not permitted here";
    EXPECT_EQ(result, 0) << "first failed check: " << result;
}
