// A result folder on a volume that fills up: the run stops at the first file that does not
// fit and says so once, nothing half-written stays, every file not done stays pending, and the
// run finishes once space is freed. The 4 MiB tmpfs is mounted in a private mount namespace of a forked child, so it vanishes
// with the child; the test skips where mounting is not permitted.

#include "ExecutionTestSupport.h"
#include "PrivateTmpfs.h"

#include <sys/mount.h>
#include <unistd.h>

using namespace kestrava;
using namespace kestrava::test;
namespace Executor = kestrava::ResumableSortExecutor;

namespace {


// Exit code of the child: 0 when every check held, else the number of the first failed one.
int scenario(const QString& source, const QString& mountPoint)
{
    QList<PhotoItem> items;
    for (int i = 1; i <= 5; ++i)
        items.append(photoAt(source, QString("%1.jpg").arg(i)));
    const QString filler = mountPoint + "/filler.bin";
    writeFile(filler, QByteArray(2700 * 1024, 'f'));
    const QString result = mountPoint + "/result";
    SortOptions options = optionsFor(result, SortOperationMode::safeCopy, VerificationMode::sha256);

    RecordLog log;
    const SortExecutionPlan plan = Executor::buildPlan(items, options, {});
    log.addPending(plan);
    const SortResult full = Executor::executeSynchronously(plan, true, log.handlers());
    if (full.organizedCount != 2 || full.errors.size() != 1 || full.pendingCount != 3)
        return 1;
    if (!full.errors[0].contains(QStringLiteral("kein Speicherplatz")))
        return 2;
    if (filesBelow(result) != QStringList{"JPEG/Behalten/1.jpg", "JPEG/Behalten/2.jpg"})
        return 3;
    for (int i = 3; i <= 5; ++i)
        if (log.bySource.value(source + QString("/%1.jpg").arg(i)).status != ExecutionActionStatus::pending)
            return 6;

    QFile::remove(filler);
    const SortResult resumed =
        Executor::executeSynchronously(Executor::buildPlan(items, options, log.bySource), true, log.handlers());
    if (resumed.organizedCount != 3 || resumed.skippedCount != 2 || !resumed.errors.isEmpty())
        return 4;
    for (int i = 3; i <= 5; ++i)
        if (readFile(result + QString("/JPEG/Behalten/%1.jpg").arg(i)) != readFile(source + QString("/%1.jpg").arg(i)))
            return 5;
    return 0;
}

} // namespace

TEST(SortExecutorDiskFull, fileThatDoesNotFitFailsCleanlyAndResumesAfterSpaceIsFreed)
{
    TempTree tree;
    for (int i = 1; i <= 5; ++i)
        tree.write(QString("src/%1.jpg").arg(i), QByteArray(600 * 1024, char('0' + i)));
    const QString source = tree.path("src");
    const QString mountPoint = tree.mkdir("volume");
    const int failed = test::inChildWithTmpfs(mountPoint, "size=4m,mode=0700", [&] { return scenario(source, mountPoint); });
    ASSERT_GE(failed, 0) << "the child did not run to its end";
    if (failed == test::tmpfsRefused)
        GTEST_SKIP() << "mounting a tmpfs is not permitted here";
    EXPECT_EQ(failed, 0) << "first failed check";
}
