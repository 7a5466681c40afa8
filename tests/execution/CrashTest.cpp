// A run killed with SIGKILL at random moments and started again until it finishes: every file
// ends up in the result exactly once and byte-identical, no temporary is taken for a result,
// moved originals exist exactly once, and each killed run's lock is taken over.

#include "ExecutionTestSupport.h"

#include "platform/Sha256.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QRandomGenerator>
#include <QThread>

#include <functional>
#include <sys/stat.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

constexpr int fileCount = 300;
constexpr int requiredKills = 50;

// Unique contents, a few shared names across folders (so numbered names are in play).
QMap<QByteArray, QString> makeSources(TempTree& tree)
{
    QMap<QByteArray, QString> digests;
    QRandomGenerator random(4711);
    for (int i = 0; i < fileCount; ++i) {
        const QString relative = QString("src/card%1/IMG_%2.JPG").arg(i % 3).arg(i / 3 % 80, 4, 10, QLatin1Char('0'));
        QByteArray bytes(int(random.bounded(1000, 64 * 1024)), Qt::Uninitialized);
        for (auto& byte : bytes)
            byte = char(random.bounded(256));
        bytes.prepend(QByteArray::number(i) + ':');
        const QString path = tree.path(relative);
        if (QFileInfo::exists(path))
            continue;
        tree.write(relative, bytes);
        digests.insert(Sha256::hash(bytes), relative);
    }
    return digests;
}

QByteArray lockOwner(const QString& lock)
{
    QFile file(lock);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

struct CrashRun {
    int kills = 0;
    int runs = 0;
    int takeovers = 0;
    int lockedExits = 0;
    bool finished = false;
};

// `maxWorkMicroseconds` bounds how long a child may work before the kill: short for runs whose
// files go fast (renames), so that the kills are spread over the whole run.
CrashRun killRepeatedly(const QString& source, const QString& result, const QString& journal, const QString& mode,
                        const QString& verify, int maxWorkMicroseconds = 20000)
{
    CrashRun run;
    QRandomGenerator random(1234);
    for (int attempt = 0; attempt < 2000 && !run.finished; ++attempt) {
        if (QFileInfo::exists(result + "/.kestrava.lock"))
            ++run.takeovers;
        QProcess child;
        child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        child.start(QStringLiteral(EXECUTION_CRASH_CHILD), {source, result, journal, mode, verify});
        if (!child.waitForStarted())
            break;
        ++run.runs;
        // Until enough kills happened, stop the child at a random moment of its work.
        if (run.kills < requiredKills) {
            // Wait until the child holds the lock, i.e. is at work, then let it work a random while.
            const QString lock = result + "/.kestrava.lock";
            QElapsedTimer waited;
            waited.start();
            while (child.state() == QProcess::Running && waited.elapsed() < 10000
                   && lockOwner(lock) != QByteArray::number(child.processId()))
                QThread::usleep(200);
            QThread::usleep(random.bounded(0, maxWorkMicroseconds));
            if (child.state() == QProcess::Running) {
                child.kill();
                child.waitForFinished(-1); // reaped: a zombie would still answer kill(pid, 0)
                if (child.exitStatus() == QProcess::CrashExit) {
                    ++run.kills;
                    continue;
                }
            }
        }
        child.waitForFinished(-1);
        if (child.exitStatus() == QProcess::NormalExit) {
            if (child.exitCode() == 3)
                ++run.lockedExits;
            run.finished = child.exitCode() == 0;
        }
    }
    return run;
}

QList<QByteArray> digestsBelow(const QString& root)
{
    QList<QByteArray> digests;
    for (const QString& relative : filesBelow(root))
        digests.append(Sha256::hash(readFile(root + "/" + relative)));
    return digests;
}

void expectCleanResult(const QString& result)
{
    for (const QString& relative : filesBelow(result)) {
        EXPECT_FALSE(relative.endsWith(".partial")) << relative.toStdString();
        EXPECT_FALSE(relative.endsWith(".kestrava.lock"));
    }
}

struct Round {
    QMap<QByteArray, QString> sources;
    QString source;
    QString result;
};

// Runs the scenario on fresh files, round after round, until `requiredKills` kills happened in
// all: on a busy machine a child gets further before its kill, and one run can finish with
// fewer. `check` examines every finished round in full. Returns the kills, runs and takeovers.
CrashRun killInRounds(const QString& mode, const QString& verify, int maxWorkMicroseconds,
                      const std::function<QString(TempTree&, int)>& resultFolder, const std::function<void(const Round&)>& check)
{
    CrashRun total;
    for (int round = 0; round < 10 && total.kills < requiredKills; ++round) {
        TempTree tree;
        Round files{makeSources(tree), tree.path("src"), resultFolder(tree, round)};
        const CrashRun run = killRepeatedly(files.source, files.result, tree.path("journal.jsonl"), mode, verify, maxWorkMicroseconds);
        EXPECT_TRUE(run.finished) << "round " << round << ", runs: " << run.runs;
        EXPECT_EQ(run.lockedExits, 0);
        if (!run.finished)
            break;
        expectCleanResult(files.result);
        check(files);
        total.kills += run.kills;
        total.runs += run.runs;
        total.takeovers += run.takeovers;
    }
    EXPECT_GE(total.kills, requiredKills);
    return total;
}

QString resultInTree(TempTree& tree, int)
{
    return tree.path("result");
}

// Moved originals exist exactly once: in the result or, not yet moved, in the source.
void expectEveryFileOnce(const Round& files)
{
    QList<QByteArray> everywhere = digestsBelow(files.result) + digestsBelow(files.source);
    std::sort(everywhere.begin(), everywhere.end());
    EXPECT_EQ(everywhere, files.sources.keys());
    EXPECT_TRUE(filesBelow(files.source).isEmpty());
}

} // namespace

TEST(SortExecutorCrash, killedCopyRunsResumeToOneVerifiedCopyOfEveryFile)
{
    const CrashRun run = killInRounds("safeCopy", "sha256", 6000, resultInTree, [](const Round& files) {
        QList<QByteArray> copied = digestsBelow(files.result);
        std::sort(copied.begin(), copied.end());
        EXPECT_EQ(copied, files.sources.keys()); // each exactly once, byte-identical
        EXPECT_EQ(digestsBelow(files.source).size(), files.sources.size()); // originals untouched
    });
    EXPECT_GT(run.takeovers, 0);
    std::printf("copy: %d runs, %d kills, %d lock takeovers\n", run.runs, run.kills, run.takeovers);
}

TEST(SortExecutorCrash, killedMoveRunsLeaveEveryFileExactlyOnce)
{
    const CrashRun run = killInRounds("moveOriginals", "fileSize", 2000, resultInTree, expectEveryFileOnce);
    EXPECT_GT(run.takeovers, 0);
    std::printf("move: %d runs, %d kills, %d lock takeovers\n", run.runs, run.kills, run.takeovers);
}

// Across volumes a move is a verified copy followed by the removal of the original: a kill
// between the two must neither lose the file nor leave it twice once the run has finished.
TEST(SortExecutorCrash, killedMovesAcrossVolumesLeaveEveryFileExactlyOnce)
{
    TempTree tree;
    QTemporaryDir otherVolume("/dev/shm/kestrava-crash-XXXXXX");
    ASSERT_TRUE(otherVolume.isValid());
    struct stat a {}, b {};
    ::stat(QFile::encodeName(tree.root()).constData(), &a);
    ::stat(QFile::encodeName(otherVolume.path()).constData(), &b);
    if (a.st_dev == b.st_dev)
        GTEST_SKIP() << "temporary folder and /dev/shm share a volume";
    const auto resultOnOtherVolume = [&](TempTree&, int round) { return otherVolume.path() + "/result" + QString::number(round); };
    const CrashRun run = killInRounds("moveOriginals", "sha256", 6000, resultOnOtherVolume, expectEveryFileOnce);
    std::printf("cross-volume move: %d runs, %d kills, %d lock takeovers\n", run.runs, run.kills, run.takeovers);
}
