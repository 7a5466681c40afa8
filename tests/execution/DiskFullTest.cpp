// A result folder on a volume that fills up: the file that does not fit fails with the
// system's German words, nothing half-written stays, and the run finishes once space is freed.
// The 2 MiB tmpfs is mounted in a private mount namespace of a forked child, so it vanishes
// with the child; the test skips where mounting is not permitted.

#include "ExecutionTestSupport.h"

#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace kestrava;
using namespace kestrava::test;
namespace Executor = kestrava::ResumableSortExecutor;

namespace {

constexpr int kSkip = 77;

// Exit code of the child: 0 when every check held, else the number of the first failed one.
int scenario(const QString& source, const QString& mountPoint)
{
    const QList<PhotoItem> items{photoAt(source, "1.jpg"), photoAt(source, "2.jpg"), photoAt(source, "3.jpg")};
    const QString filler = mountPoint + "/filler.bin";
    writeFile(filler, QByteArray(700 * 1024, 'f'));
    const QString result = mountPoint + "/result";
    SortOptions options = optionsFor(result, SortOperationMode::safeCopy, VerificationMode::sha256);

    RecordLog log;
    const SortExecutionPlan plan = Executor::buildPlan(items, options, {});
    log.addPending(plan);
    const SortResult full = Executor::executeSynchronously(plan, true, log.handlers());
    if (full.organizedCount != 2 || full.errors.size() != 1)
        return 1;
    if (!full.errors[0].contains("3.jpg") || !full.errors[0].contains(QStringLiteral("kein Speicherplatz")))
        return 2;
    if (filesBelow(result) != QStringList{"JPEG/Behalten/1.jpg", "JPEG/Behalten/2.jpg"})
        return 3;

    QFile::remove(filler);
    const SortResult resumed =
        Executor::executeSynchronously(Executor::buildPlan(items, options, log.bySource), true, log.handlers());
    if (resumed.organizedCount != 1 || resumed.skippedCount != 2 || !resumed.errors.isEmpty())
        return 4;
    if (readFile(result + "/JPEG/Behalten/3.jpg") != readFile(source + "/3.jpg"))
        return 5;
    return 0;
}

} // namespace

TEST(SortExecutorDiskFull, fileThatDoesNotFitFailsCleanlyAndResumesAfterSpaceIsFreed)
{
    TempTree tree;
    for (int i = 1; i <= 3; ++i)
        tree.write(QString("src/%1.jpg").arg(i), QByteArray(600 * 1024, char('0' + i)));
    const QString source = tree.path("src");
    const QString mountPoint = tree.mkdir("volume");
    const QByteArray target = QFile::encodeName(mountPoint);

    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0
            || ::mount("tmpfs", target.constData(), "tmpfs", 0, "size=2m,mode=0700") != 0)
            ::_exit(kSkip);
        int step = 99;
        try {
            step = scenario(source, mountPoint);
        } catch (...) {
        }
        ::_exit(step);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == kSkip)
        GTEST_SKIP() << "mounting a tmpfs is not permitted here";
    EXPECT_EQ(WEXITSTATUS(status), 0) << "first failed check";
}
