// kestrava-cli sort killed with SIGKILL at random moments, then kestrava-cli resume (itself
// killed at random moments) until the run finishes. Afterwards every file is in the result
// exactly once and byte-identical, no temporary file is left as a result, moved originals
// exist exactly once, and the lock a killed run left behind was taken over.

#include "CliTestSupport.h"

#include "model/Json.h"
#include "platform/Sha256.h"

#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QProcess>
#include <QRandomGenerator>
#include <QThread>
#include <gtest/gtest.h>

#include <csignal>
#include <functional>

using namespace kestrava;
using namespace kestrava::test;

namespace {

#ifdef KESTRAVA_SANITIZED
constexpr int pairs = 50;
constexpr int singles = 50;
#else
constexpr int pairs = 100;
constexpr int singles = 100;
#endif

QByteArray fileContents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool processAlive(qint64 pid)
{
    return pid > 0 && (::kill(pid_t(pid), 0) == 0 || errno != ESRCH);
}

// Files a user sees below `root` (hidden temporaries and the lock left out).
int visibleFileCount(const QString& root)
{
    int count = 0;
    QDirIterator it(root, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        it.next();
        ++count;
    }
    return count;
}

// Whether the child still runs. QProcess learns of the child's end only inside its own calls,
// so a short wait stands in for the sleep of a polling loop.
bool running(QProcess& child)
{
    child.waitForFinished(1);
    return child.state() == QProcess::Running;
}

struct CrashRun {
    int kills = 0;
    int runs = 0;
    int takeovers = 0;       // a run started over a dead run's lock and took it
    QStringList failures;    // normal exits other than success, with their messages
    bool finished = false;
    QJsonObject finalOutput;
};

// Starts the sort, then resumes until a run ends with success. The first `wantedKills` runs
// are killed: mostly at a random moment of their copying (after they hold the lock), sometimes
// at a random moment of their start-up (loading, planning, journaling the plan).
CrashRun killRepeatedly(const QProcessEnvironment& environment, const QStringList& sortArguments, const QString& store,
                        const QString& resultFolder, int totalFiles, int wantedKills, int pollMicroseconds, quint32 seed,
                        const std::function<void()>& afterKill)
{
    CrashRun run;
    QRandomGenerator random(seed);
    const QString lock = resultFolder + QStringLiteral("/.kestrava.lock");
    for (int attempt = 0; attempt < 400 && !run.finished; ++attempt) {
        const QByteArray staleOwner = fileContents(lock);
        const bool staleLock = !staleOwner.isEmpty() && !processAlive(staleOwner.toLongLong());
        QProcess child;
        child.setProcessEnvironment(environment);
        child.start(cliPath(), attempt == 0 ? sortArguments : QStringList{QStringLiteral("resume"), QStringLiteral("--store"), store});
        if (!child.waitForStarted())
            break;
        ++run.runs;
        const QByteArray pid = QByteArray::number(child.processId());
        bool tookLock = false;
        if (run.kills < wantedKills) {
            // The first run is only killed once it executes: killed in its review it would
            // leave nothing to resume, which is not what this test is about.
            const bool duringStartUp = attempt > 0 && random.bounded(5) == 0;
            QElapsedTimer waited;
            waited.start();
            if (duringStartUp) {
                // Somewhere in loading, planning or journaling the plan: before it takes the lock.
                const qint64 deadline = random.bounded(0, 300);
                while (running(child) && waited.elapsed() < deadline && fileContents(lock) != pid) {
                }
            } else {
                while (running(child) && waited.elapsed() < 60000 && fileContents(lock) != pid) {
                }
                tookLock = fileContents(lock) == pid;
                // Let it finish a random share of what is left, so that the kills spread over
                // the whole run (and leave files for the kills still to come). The child is
                // frozen while the result is counted, so it dies exactly in the state counted:
                // at a random moment, often in the middle of a file.
                const int killsLeft = wantedKills - run.kills;
                const int shown = visibleFileCount(resultFolder);
                const int share = std::max(1, (totalFiles - shown) / (killsLeft + 1));
                const int target = std::min(shown + int(random.bounded(0, 2 * share)), totalFiles - std::min(4 * killsLeft, totalFiles / 3));
                while (running(child) && waited.elapsed() < 60000) {
                    ::kill(pid_t(child.processId()), SIGSTOP);
                    if (visibleFileCount(resultFolder) >= target)
                        break;
                    ::kill(pid_t(child.processId()), SIGCONT);
                    QThread::usleep(random.bounded(0, pollMicroseconds));
                }
            }
            if (running(child)) {
                child.kill();
                child.waitForFinished(-1); // reaped, so the lock's pid is really gone
                if (child.exitStatus() == QProcess::CrashExit) {
                    ++run.kills;
                    run.takeovers += staleLock && tookLock;
                    afterKill();
                    continue;
                }
            }
        }
        // Already ended, or let run to its end.
        child.waitForFinished(-1);
        tookLock = tookLock || child.exitCode() == 0;
        run.takeovers += staleLock && tookLock;
        const QByteArray out = child.readAllStandardOutput();
        const QByteArray err = child.readAllStandardError();
        if (child.exitStatus() == QProcess::NormalExit && child.exitCode() == 0) {
            run.finished = true;
            run.finalOutput = lastJson(out);
        } else if (attempt > 0 && err.contains("keine unterbrochene Sitzung")) {
            // The last killed run had already recorded its end: nothing is left to resume.
            // What it left on disk is checked like any other result.
            run.finished = true;
        } else {
            run.failures.append(QStringLiteral("exit %1: %2").arg(child.exitCode()).arg(QString::fromUtf8(err.right(600))));
        }
    }
    return run;
}

// Digests of the files a user sees: hidden names (temporaries, the lock) left out.
QList<QByteArray> visibleDigests(const QString& root)
{
    QList<QByteArray> digests;
    for (const QString& relative : filesBelow(root))
        if (!QFileInfo(relative).fileName().startsWith(QLatin1Char('.')))
            digests.append(Sha256::hash(readFile(root + QLatin1Char('/') + relative)));
    std::sort(digests.begin(), digests.end());
    return digests;
}

void expectNoTemporaryLeft(const QString& resultFolder)
{
    for (const QString& relative : filesBelow(resultFolder)) {
        const QString name = QFileInfo(relative).fileName();
        EXPECT_FALSE(name.endsWith(QStringLiteral(".partial"))) << relative.toStdString();
        EXPECT_NE(name, QStringLiteral(".kestrava.lock"));
    }
}

struct Scenario {
    const char* mode;
    const char* verify;
    int kills;
    int pollMicroseconds;
};

// One shoot sorted, killed `wantedKills` times and resumed to its end, then checked in full.
// Returns the run, whose kills may fall short of `wantedKills` when it finished first.
CrashRun crashAndResume(const Scenario& scenario, quint32 seed, int wantedKills)
{
    TempTree tree;
    const QString source = tree.path(QStringLiteral("Karte"));
    const ShootDigests shoot = writeShoot(source, pairs, singles, seed);
    const QProcessEnvironment environment = isolatedEnvironment(tree.root());
    const QString store = tree.path(QStringLiteral("S"));
    const QString resultFolder = tree.path(QStringLiteral("Ziel/Lauf"));
    const QString mode = QString::fromLatin1(scenario.mode);
    const QStringList arguments =
        sortArguments(source, tree.path(QStringLiteral("Ziel")), store, mode, QString::fromLatin1(scenario.verify));

    // At every kill: what the result shows is complete and never twice; a moved file is at
    // its source or in the result, never in both and never in neither.
    int brokenMoments = 0;
    QStringList progressAtKills; // files shown in the result at each kill
    const auto afterKill = [&] {
        const QList<QByteArray> shown = visibleDigests(resultFolder);
        QList<QByteArray> unique = shown;
        unique.erase(std::unique(unique.begin(), unique.end()), unique.end());
        bool consistent = unique.size() == shown.size()
                          && std::all_of(shown.begin(), shown.end(), [&](const QByteArray& d) { return shoot.contains(d); });
        if (mode == QLatin1String("moveOriginals")) {
            QList<QByteArray> everywhere = shown + digestsBelow(source);
            std::sort(everywhere.begin(), everywhere.end());
            consistent = consistent && everywhere == shoot.keys();
        }
        brokenMoments += !consistent;
        progressAtKills.append(QString::number(shown.size()));
    };

    QElapsedTimer clock;
    clock.start();
    const CrashRun run = killRepeatedly(environment, arguments, store, resultFolder, int(shoot.size()), wantedKills,
                                        scenario.pollMicroseconds, seed, afterKill);
    std::printf("%s/%s: %d files, %d runs, %d kills, %d lock takeovers, %lld ms; files in the result at each kill: %s\n",
                scenario.mode, scenario.verify, int(shoot.size()), run.runs, run.kills, run.takeovers,
                qint64(clock.elapsed()), qPrintable(progressAtKills.join(QLatin1Char(' '))));

    EXPECT_TRUE(run.finished) << run.failures.join(QLatin1Char('\n')).toStdString();
    if (!run.finished)
        return run;
    EXPECT_TRUE(run.failures.isEmpty()) << run.failures.join(QLatin1Char('\n')).toStdString();
    EXPECT_EQ(brokenMoments, 0);
    if (!run.finalOutput.isEmpty()) {
        EXPECT_EQ(run.finalOutput.value(QLatin1String("pendingCount")).toInt(), 0);
        EXPECT_TRUE(run.finalOutput.value(QLatin1String("errors")).toArray().isEmpty());
    }

    expectNoTemporaryLeft(resultFolder);
    // Every file exactly once in the result, byte for byte (the digests form a multiset).
    EXPECT_EQ(digestsBelow(resultFolder), shoot.keys());
    if (mode == QLatin1String("safeCopy"))
        EXPECT_EQ(digestsBelow(source), shoot.keys());
    else
        EXPECT_TRUE(filesBelow(source).isEmpty()) << filesBelow(source).join(QLatin1Char(' ')).toStdString();
    return run;
}

// On a busy machine a run gets further between the checks that hold it and can finish before
// all its kills; a fresh shoot then takes the kills still wanted, each round checked in full.
void crashUntilEnoughKills(const Scenario& scenario, quint32 seed)
{
    int kills = 0;
    int takeovers = 0;
    for (int round = 0; round < 5 && kills < scenario.kills && !::testing::Test::HasFailure(); ++round) {
        const CrashRun run = crashAndResume(scenario, seed + quint32(round), scenario.kills - kills);
        kills += run.kills;
        takeovers += run.takeovers;
    }
    EXPECT_GE(kills, scenario.kills);
    EXPECT_GT(takeovers, 0);
}

} // namespace

// 55 kills in all: copies verified by size and by SHA-256, and same-volume moves (renames).
TEST(SortCliCrash, killedCopyWithSha256ResumesToOneVerifiedCopyOfEveryFile)
{
    crashUntilEnoughKills({"safeCopy", "sha256", 20, 2000}, 101);
}

TEST(SortCliCrash, killedCopyWithSizeCheckResumesToOneCopyOfEveryFile)
{
    crashUntilEnoughKills({"safeCopy", "fileSize", 15, 2000}, 202);
}

TEST(SortCliCrash, killedMovesLeaveEveryFileExactlyOnce)
{
    crashUntilEnoughKills({"moveOriginals", "fileSize", 20, 400}, 303);
}
