// The trash transaction killed by SIGKILL just before each durable step (sampled evenly when
// there are many) of the staging run and of the commit, then finished the way a user would:
// `resume` and `trash commit` until they succeed. After every kill and at the end: each
// rejected original is exactly once either in its place or in the Trash, a safety copy
// exists for every file of a motif that is not wholly in the Trash, and the user can finish.

#include "KillLoop.h"
#include "TrashCliRig.h"

#include "model/FileUrl.h"
#include "trash/FreedesktopTrashLayout.h"

#include <QProcess>
#include <QStandardPaths>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

constexpr int commitKills = killBudget(14, 4);
constexpr int stagingKills = killBudget(8, 3);

// The contents in the Trash. The capability probe's empty file, which a kill during the probe
// can leave, is the probe's own concern and not a photo; it is not counted here.
QList<QByteArray> trashedDigests(const QString& trashFiles)
{
    QList<QByteArray> digests;
    for (const QString& name : QDir(trashFiles).entryList(QDir::Files | QDir::Hidden))
        if (!name.startsWith(QLatin1String(".kestrava-trash-probe-")))
            digests.append(Sha256::hash(readFile(trashFiles + QLatin1Char('/') + name)));
    std::sort(digests.begin(), digests.end());
    return digests;
}

// Where each rejected original is: its place, the Trash, the safety folder (by content).
struct RejectState {
    bool inPlace = false;
    int inTrash = 0;
    bool copied = false;
};

class TrashKillHarness {
public:
    QHash<QString, RejectState> observe() const
    {
        const QList<QByteArray> trashed = trashedDigests(rig.trashFiles);
        QList<QByteArray> copies;
        const QString safety = rig.resultFolder + QStringLiteral("/Sicherheitsablage");
        for (const QString& relative : filesBelow(safety))
            if (!relative.endsWith(QLatin1String(".partial")))
                copies.append(Sha256::hash(readFile(safety + QLatin1Char('/') + relative)));
        QHash<QString, RejectState> states;
        for (auto it = rig.shoot.begin(); it != rig.shoot.end(); ++it) {
            if (!rejected.contains(it.value()))
                continue;
            RejectState state;
            const QString place = rig.source + QLatin1Char('/') + it.value();
            state.inPlace = QFileInfo::exists(place) && Sha256::hash(readFile(place)) == it.key();
            state.inTrash = int(trashed.count(it.key()));
            state.copied = copies.contains(it.key());
            states.insert(it.value(), state);
        }
        return states;
    }

    // What must hold after any kill. `copiesMade`: the staging had finished before the kill.
    void expectSafe(bool copiesMade, const QString& where) const
    {
        const QHash<QString, RejectState> states = observe();
        QHash<QString, QList<RejectState>> motifs;
        for (auto it = states.begin(); it != states.end(); ++it) {
            EXPECT_EQ(int(it->inPlace) + it->inTrash, 1) << it.key().toStdString() << " " << where.toStdString();
            motifs[it.key().section(QLatin1Char('.'), 0, 0)].append(*it);
        }
        if (!copiesMade)
            return;
        for (auto it = motifs.begin(); it != motifs.end(); ++it) {
            const bool anyCopyGone = std::any_of(it->begin(), it->end(), [](const RejectState& s) { return !s.copied; });
            const bool wholeMotifTrashed = std::all_of(it->begin(), it->end(), [](const RejectState& s) { return s.inTrash == 1; });
            EXPECT_TRUE(!anyCopyGone || wholeMotifTrashed)
                << "a safety copy of " << it.key().toStdString() << " went before its whole motif was in the Trash; "
                << where.toStdString();
        }
    }

    // Resumes (when the staging was cut short) and commits until the transaction is done.
    void finish(bool resumeFirst, const QString& where) const
    {
        const QStringList store{QStringLiteral("--store"), rig.store};
        if (resumeFirst) {
            const CliResult resumed = runCli(QStringList{QStringLiteral("resume")} + store, rig.environment);
            ASSERT_EQ(resumed.exitCode, 0) << where.toStdString() << "\n" << resumed.err.toStdString();
        }
        const CliResult committed = rig.trash(QStringLiteral("commit"));
        // A killed commit whose journal had recorded everything leaves nothing to commit.
        if (committed.exitCode != 0) {
            ASSERT_TRUE(QString::fromUtf8(committed.err).contains(QStringLiteral("keinen vorbereiteten")))
                << where.toStdString() << "\n" << committed.err.toStdString();
        }
        expectFinished(where);
    }

    void expectFinished(const QString& where) const
    {
        EXPECT_EQ(trashedDigests(rig.trashFiles), rig.rejectedDigests()) << where.toStdString();
        EXPECT_EQ(rig.organizedDigests(), rig.keptDigests()) << where.toStdString();
        EXPECT_FALSE(QFileInfo::exists(rig.resultFolder + QStringLiteral("/Sicherheitsablage"))) << where.toStdString();
        // Each info file names the original's full path, so the Trash can put it back.
        TrashDirectory home;
        home.root = QFileInfo(rig.trashFiles).path();
        home.isHomeTrash = true;
        QStringList named;
        for (const QString& info : QDir(home.infoFolder()).entryList(QDir::Files))
            named.append(FreedesktopTrashInfo::originalPath(readFile(home.infoFolder() + QLatin1Char('/') + info), home).value_or(QString()));
        named.sort();
        QStringList expected;
        for (const QString& name : rejected)
            expected.append(rig.source + QLatin1Char('/') + name);
        expected.sort();
        EXPECT_EQ(named, expected) << where.toStdString();
    }

    TrashRig rig;
};

} // namespace

TEST(TrashCliCrash, commitKilledAtEachDurableStepIsFinishedByTheNextCommit)
{
    QList<DurableStep> steps;
    {
        TrashKillHarness probe;
        ASSERT_EQ(runCli(probe.rig.sort(), probe.rig.environment).exitCode, 0);
        CliResult run;
        steps = durableStepsOf({QStringLiteral("trash"), QStringLiteral("commit"), QStringLiteral("--store"), probe.rig.store},
                               probe.rig.environment, &run);
        ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
        ASSERT_GT(steps.size(), 10);
    }
    bool restoredOnce = false;
    killAtEach(steps, spreadSteps(1, int(steps.size()), commitKills), [&](KillPoint& point) {
        TrashKillHarness harness;
        ASSERT_EQ(runCli(harness.rig.sort(), harness.rig.environment).exitCode, 0);
        ASSERT_TRUE(point.kill({QStringLiteral("trash"), QStringLiteral("commit"), QStringLiteral("--store"), harness.rig.store},
                               harness.rig.environment)
                        .killed);
        harness.expectSafe(true, point.where);
        harness.finish(false, point.where);

        // Once: the Trash of a killed and finished commit gives a file back, byte for byte.
        if (restoredOnce || QStandardPaths::findExecutable(QStringLiteral("trash-restore")).isEmpty())
            return;
        restoredOnce = true;
        const QString original = harness.rig.source + QStringLiteral("/IMG_0001.NEF");
        QProcess restore;
        restore.setProcessEnvironment(harness.rig.environment);
        restore.setWorkingDirectory(harness.rig.source);
        restore.start(QStringLiteral("trash-restore"), {original});
        ASSERT_TRUE(restore.waitForStarted());
        restore.write("0\n");
        restore.closeWriteChannel();
        ASSERT_TRUE(restore.waitForFinished(60000));
        ASSERT_TRUE(QFileInfo::exists(original)) << restore.readAllStandardOutput().toStdString();
        EXPECT_TRUE(harness.rig.rejectedDigests().contains(Sha256::hash(readFile(original))));
    });
}

TEST(TrashCliCrash, stagingKilledAtEachDurableStepIsResumedAndCommitted)
{
    QList<DurableStep> steps;
    {
        TrashKillHarness probe;
        CliResult run;
        steps = durableStepsOf(probe.rig.sort(), probe.rig.environment, &run);
        ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    }
    // The organising steps are the sort's crash test's business; these start at the journal.
    const auto firstTrashStep = std::find_if(steps.begin(), steps.end(), [](const DurableStep& step) {
        return step.path.contains(QLatin1String("trash-v1")) || step.path.contains(QLatin1String("Sicherheitsablage"));
    });
    ASSERT_NE(firstTrashStep, steps.end());
    killAtEach(steps, spreadSteps(firstTrashStep->number, int(steps.size()), stagingKills), [&](KillPoint& point) {
        TrashKillHarness harness;
        const KilledRun run = point.kill(harness.rig.sort(), harness.rig.environment);
        // A run can make a step or two fewer than the probe that counted them (seen once under
        // the sanitizers at the last step, an fsync of the session store's folder; its snapshot
        // writes can depend on when background work ends). A point past a run's end finds it
        // finished, which must leave the same safe state as a kill.
        if (!run.killed)
            ASSERT_EQ(run.result.exitCode, 0) << point.where.toStdString() << run.result.err.toStdString();
        harness.expectSafe(false, point.where);
        EXPECT_TRUE(trashedDigests(harness.rig.trashFiles).isEmpty()) << "staging touched an original";
        harness.finish(true, point.where);
    });
}
