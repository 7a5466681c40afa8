// A real full disk: a 64 KiB tmpfs mounted in a private mount namespace of a child process,
// so the mount vanishes with the child even if the test crashes. Skips where mounting is not
// permitted (ordinary users, most CI containers).

#include "platform/DurableFile.h"
#include "platform/VolumeInfo.h"

#include "PrivateTmpfs.h"
#include "TestSupport.h"

#include <QDir>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <cerrno>
#include <unistd.h>

using namespace kestrava;
using kestrava::test::TempTree;

namespace {


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
    const int result = test::inChildWithTmpfs(root, "size=64k,mode=0700", [&]() -> int {
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
    if (result == test::tmpfsRefused)
        GTEST_SKIP() << "mounting a tmpfs is not permitted here";
    EXPECT_EQ(result, 0) << "first failed check: " << result;
}
