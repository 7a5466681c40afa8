// kestrava-cli sort --ratings killed at its durable steps and resumed until done: whatever the
// step, every photo in the result then has exactly one sidecar under its stem saying "kept"
// (the user's own stars where a sidecar brought some), the sidecars at the source keep their
// bytes, and nothing half-written is left in the result.

#include "CliTestSupport.h"

#include "KillLoop.h"
#include "PrivateTmpfs.h"

#include "execution/RatingSidecar.h"
#include "execution/ResumableSortError.h"
#include "model/RunFolderMarker.h"

#include <QDir>
#include <QFileInfo>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

using namespace kestrava;
using namespace kestrava::test;

namespace {

#ifdef KESTRAVA_SANITIZED
constexpr int killPoints = 4;
#else
constexpr int killPoints = 10;
#endif

QByteArray userSidecar(int stars)
{
    return "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">"
           "<rdf:Description rdf:about=\"\" xmlns:xmp=\"http://ns.adobe.com/xap/1.0/\" xmp:Rating=\""
        + QByteArray::number(stars) + "\"/></rdf:RDF></x:xmpmeta>";
}

// Three JPEG+NEF pairs and two lone JPEGs; the first two NEFs bring sidecars, one unrated,
// one with the user's four stars.
SortRound freshRound(const TempTree& tree, int number)
{
    SortRound round;
    const QString root = tree.path(QString("r%1").arg(number));
    round.source = root + "/Karte";
    writeShoot(round.source, 3, 2, 5, 4096);
    writeFile(round.source + "/IMG_0001.xmp", userSidecar(0));
    writeFile(round.source + "/IMG_0002.xmp", userSidecar(4));
    round.base = root + "/Ziel";
    round.store = root + "/S";
    round.environment = isolatedEnvironment(root);
    round.sortArguments = sortArguments(round.source, round.base, round.store, "safeCopy")
        + QStringList{"--ratings", "--keep-stars", "2"};
    return round;
}

void expectEverySidecarOnce(const SortRound& round, const QString& context)
{
    SCOPED_TRACE(context.toStdString());
    EXPECT_EQ(readFile(round.source + "/IMG_0001.xmp"), userSidecar(0));
    EXPECT_EQ(readFile(round.source + "/IMG_0002.xmp"), userSidecar(4));
    QStringList photos;
    QMap<QString, QStringList> sidecarsByStem;
    for (const QString& relative : filesBelow(round.base)) {
        const QString name = QFileInfo(relative).fileName();
        if (name.startsWith('.')) {
            EXPECT_EQ(name, runFolderMarkerName) << relative.toStdString();
            continue;
        }
        if (isSidecar(relative))
            sidecarsByStem[stemOf(relative)].append(relative);
        else
            photos.append(relative);
    }
    EXPECT_EQ(photos.size(), 8);
    for (const QString& photo : photos) {
        const QStringList sidecars = sidecarsByStem.take(stemOf(photo));
        ASSERT_EQ(sidecars.size(), 1) << photo.toStdString();
        const auto marks = ResumableSortExecutor::readRatingMarks(readFile(round.base + '/' + sidecars[0]));
        ASSERT_TRUE(marks.has_value()) << sidecars[0].toStdString();
        const bool usersStars = photo.endsWith("IMG_0002.NEF");
        EXPECT_EQ(marks->rating, usersStars ? QString("4") : QString("2")) << sidecars[0].toStdString();
    }
    EXPECT_TRUE(sidecarsByStem.isEmpty()) << "a sidecar without its photo";
}

// Runs the CLI from a forked test child (where QProcess is not safe), with `extra` added to its
// environment and its standard error written to `errorFile` (discarded when empty); the exit
// code, or -signal when a signal ended it.
int spawnCli(const QStringList& arguments, QProcessEnvironment environment, const QStringList& extra = {},
             const QString& errorFile = {})
{
    const QByteArray errorPath = errorFile.isEmpty() ? QByteArray("/dev/null") : QFile::encodeName(errorFile);
    for (const QString& variable : extra)
        environment.insert(variable.section(u'=', 0, 0), variable.section(u'=', 1));
    QList<QByteArray> argv{QFile::encodeName(cliPath())};
    for (const QString& argument : arguments)
        argv.append(argument.toLocal8Bit());
    QList<QByteArray> envp;
    for (const QString& variable : environment.toStringList())
        envp.append(variable.toLocal8Bit());
    std::vector<char*> argvPointers, envPointers;
    for (QByteArray& a : argv)
        argvPointers.push_back(a.data());
    for (QByteArray& e : envp)
        envPointers.push_back(e.data());
    argvPointers.push_back(nullptr);
    envPointers.push_back(nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
        ::dup2(::open("/dev/null", O_WRONLY), 1);
        ::dup2(::open(errorPath.constData(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 2);
        ::execve(argvPointers[0], argvPointers.data(), envPointers.data());
        ::_exit(127);
    }
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child)
        return -1000;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

} // namespace

// The result folder is a file system of its own that turns read-only while the sidecars are
// being written (the run dies there, the card's write-protect switch is flipped): the resume
// refuses with nothing of the source changed, and once writable again it finishes with every
// sidecar exactly once.
TEST(RatingCliMount, aResultFolderTurnedReadOnlyIsFinishedOnceWritableAgain)
{
    TempTree tree;
    const SortRound logged = freshRound(tree, 0);
    const QList<DurableStep> steps = durableStepsOf(logged.sortArguments, logged.environment);
    const auto firstSidecar = std::find_if(steps.begin(), steps.end(), [&](const DurableStep& step) {
        return step.kind != QLatin1String("fsync") && step.path.startsWith(logged.base) && isSidecar(step.path);
    });
    ASSERT_NE(firstSidecar, steps.end()) << "the run wrote no sidecar";
    const QString killBefore = QStringLiteral("KESTRAVA_KILL_BEFORE=") + firstSidecar->kind + u' '
        + QFileInfo(firstSidecar->path).fileName();

    const SortRound round = freshRound(tree, 1);
    QDir().mkpath(round.base);
    // Larger than the gigabyte the free-space check keeps in reserve; a tmpfs costs only what is written.
    const int failed = inChildWithTmpfs(round.base, "size=1300m,mode=0755", [&]() -> int {
        if (const int killed = spawnCli(round.sortArguments, round.environment, {killBefore}); killed != -SIGKILL) {
            std::fprintf(stderr, "%s: %d\n", qPrintable(killBefore), killed);
            return 1;
        }
        const QByteArray base = QFile::encodeName(round.base);
        const QList<QByteArray> before = digestsBelow(round.source);
        if (::mount(nullptr, base.constData(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) != 0)
            return 2;
        const QStringList resume{"resume", "--store", round.store};
        const QString said = tree.path("refused.txt");
        const int refused = spawnCli(resume, round.environment, {}, said);
        if (refused <= 0)
            return 3; // neither finished on a read-only folder nor crashed
        // In the user's words: the folder is named, not a file of Kestrava's own inside it.
        const QString message = QString::fromUtf8(readFile(said));
        std::fprintf(stderr, "resume on the read-only folder: %s\n", qPrintable(message));
        if (!message.contains(ResumableSortError::resultReadOnly(QStringLiteral("Lauf")).description()))
            return 8;
        if (digestsBelow(round.source) != before)
            return 4;
        if (::mount(nullptr, base.constData(), nullptr, MS_REMOUNT, nullptr) != 0)
            return 5;
        if (spawnCli(resume, round.environment) != 0)
            return 6;
        expectEverySidecarOnce(round, "resumed on the writable folder");
        return ::testing::Test::HasFailure() ? 7 : 0;
    });
    if (failed == tmpfsRefused)
        GTEST_SKIP() << "mounting a tmpfs is not permitted here";
    EXPECT_EQ(failed, 0) << "check " << failed << " failed";
}

TEST(RatingCliCrash, killedAtAnyStepOfTheRunTheResumedRunLeavesEverySidecarOnce)
{
    TempTree tree;
    const SortRound logged = freshRound(tree, 0);
    CliResult clean;
    const QList<DurableStep> steps = durableStepsOf(logged.sortArguments, logged.environment, &clean);
    ASSERT_EQ(clean.exitCode, 0) << clean.err.toStdString();
    expectEverySidecarOnce(logged, "uninterrupted");

    // Most kills fall in the run (from its first step in the result on), densest at its end,
    // where the sidecars are written.
    int runStart = int(steps.size());
    for (const DurableStep& step : steps)
        if (step.path.startsWith(logged.base)) {
            runStart = step.number;
            break;
        }
    const int count = int(steps.size());
    QList<int> points;
    // Two kills while the plan is journaled: its first records are the sidecars' promise,
    // which a resume (not told about the option) has to keep.
    QList<int> journaled;
    for (const DurableStep& step : steps)
        if (step.number < runStart && step.path.startsWith(logged.store))
            journaled.append(step.number);
    if (journaled.size() >= 30) {
        points.append(journaled[journaled.size() - 30]);
        points.append(journaled[journaled.size() - 10]);
    }
    for (int i = 0; i < killPoints; ++i)
        points.append(runStart + int(qint64(count - runStart) * (i + 1) * (i + 1) / (killPoints * killPoints)));
    int killed = 0;
    for (qsizetype i = 0; i < points.size() && !HasFailure(); ++i) {
        const SortRound round = freshRound(tree, int(i) + 1);
        const QString context = describeStep(steps, points[i]);
        killed += runCliKilledAtStep(round.sortArguments, points[i], round.environment).killed;
        finishByResuming(round, context);
        expectEverySidecarOnce(round, context);
    }
    std::printf("ratings: %d durable steps, %d kill points, %d killed\n", count, int(points.size()), killed);
    EXPECT_GE(killed, int(points.size()) / 2);
}

TEST(RatingCli, starsOutsideOneToFiveOrWithoutRatingsAreRefusedBeforeAnythingRuns)
{
    TempTree tree;
    const SortRound round = freshRound(tree, 1);
    QStringList plain = round.sortArguments;
    plain.removeAll("--ratings");
    const QStringList refused[] = {
        round.sortArguments.mid(0, round.sortArguments.size() - 1) + QStringList{"6"},
        round.sortArguments.mid(0, round.sortArguments.size() - 1) + QStringList{"zwei"},
        plain,
    };
    for (const QStringList& arguments : refused) {
        const CliResult result = runCli(arguments, round.environment);
        EXPECT_NE(result.exitCode, 0) << arguments.join(' ').toStdString();
        EXPECT_FALSE(QFileInfo::exists(round.base)) << arguments.join(' ').toStdString();
    }
}
