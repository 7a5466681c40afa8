// The crash harness of a sort run: a real kestrava-cli sort (copy, move within a volume, move
// across volumes) of a small generated shoot with JPEG+RAW pairs and XMP sidecars is run once
// with its durable steps logged, then again and again on a fresh shoot, killed just before one
// step after another. After each kill, kestrava-cli resume (itself sometimes killed at a later
// step) runs until it finishes. Whatever the step, afterwards:
//  - every file of the shoot exists exactly once, byte for byte, in the result (a move) or in
//    the result and still at the source (a copy), sidecars included;
//  - every sidecar in the result lies beside its photo, under its stem;
//  - no temporary copy and no lock is left, and resume always ends with exit 0.

#include "CliTestSupport.h"

#include "KillLoop.h"

#include "model/RunFolderMarker.h"

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRandomGenerator>
#include <gtest/gtest.h>

#include <optional>

#include <cstdio>
#include <functional>
#include <ostream>
#include <sys/stat.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

constexpr int killsPerMode = killBudget(14, 6);

QByteArray digestOf(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QCryptographicHash hash(QCryptographicHash::Sha256);
    hash.addData(&file);
    return hash.result().toHex();
}

// Every file below `root`, hidden ones too, relative path → digest.
QMap<QString, QByteArray> filesWithDigests(const QString& root)
{
    QMap<QString, QByteArray> files;
    QDirIterator it(root, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        files.insert(QDir(root).relativeFilePath(path), digestOf(path));
    }
    return files;
}

void copyTree(const QString& from, const QString& to)
{
    QDirIterator it(from, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        const QString target = to + '/' + QDir(from).relativeFilePath(path);
        QDir().mkpath(QFileInfo(target).path());
        QFile::copy(path, target);
    }
}

// A generated shoot in which every motif has its XMP sidecar (some the generator wrote, the
// rest added with distinct contents).
QString pristineShoot(const QString& folder)
{
    const CliResult generated = runCli({"generate", folder, "--shots", "6", "--raw-ratio", "0.5", "--seed", "11",
                                        "--size", "64x48", "--no-extras"},
                                       QProcessEnvironment::systemEnvironment());
    if (generated.exitCode != 0)
        return generated.err;
    QSet<QString> stems;
    QSet<QString> withSidecar;
    QDirIterator it(folder, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        (isSidecar(path) ? withSidecar : stems).insert(stemOf(path));
    }
    for (const QString& stem : stems)
        if (!withSidecar.contains(stem))
            writeFile(stem + ".xmp", "<x:xmpmeta>" + stem.toUtf8() + "</x:xmpmeta>\n");
    return {};
}

// Runs the CLI and kills it after `ms` milliseconds unless it ended before.
void killAfter(const QStringList& arguments, const QProcessEnvironment& environment, int ms)
{
    runKilledAfter(cliPath(), arguments, environment, {QProcess::StandardOutput, 0, std::chrono::milliseconds(ms)});
}

struct Scenario {
    QString name;
    QString mode;
    bool acrossVolumes = false;
};

void PrintTo(const Scenario& scenario, std::ostream* out)
{
    *out << scenario.name.toStdString();
}

class SortCrashHarness : public ::testing::TestWithParam<Scenario> {
protected:
    void SetUp() override
    {
        if (GetParam().acrossVolumes) {
            struct stat shm {};
            struct stat tmp {};
            if (::stat("/dev/shm", &shm) != 0 || ::stat(QFile::encodeName(tree.root()).constData(), &tmp) != 0
                || shm.st_dev == tmp.st_dev)
                GTEST_SKIP() << "no second volume at /dev/shm";
            sourceVolume = std::make_unique<QTemporaryDir>("/dev/shm/kestrava-harness-XXXXXX");
            if (!sourceVolume->isValid())
                GTEST_SKIP() << "/dev/shm cannot be written";
        }
        const QString failure = pristineShoot(tree.path("pristine"));
        ASSERT_TRUE(failure.isEmpty()) << failure.toStdString();
        pristine = filesWithDigests(tree.path("pristine"));
        ASSERT_GE(pristine.size(), 12);
    }

    SortRound freshRound(int number)
    {
        SortRound round;
        const QString root = tree.path(QString("r%1").arg(number));
        round.source = (sourceVolume ? sourceVolume->path() + QString("/r%1").arg(number) : root) + "/Karte";
        copyTree(tree.path("pristine"), round.source);
        round.base = root + "/Ziel";
        round.store = root + "/S";
        round.environment = isolatedEnvironment(root);
        round.sortArguments = test::sortArguments(round.source, round.base, round.store, GetParam().mode);
        return round;
    }

    // The invariant after the run has been finished by resume.
    void expectAccountedFor(const SortRound& round, const QString& context)
    {
        SCOPED_TRACE(context.toStdString());
        const bool moving = GetParam().mode != "safeCopy";
        const QMap<QString, QByteArray> atSource = filesWithDigests(round.source);
        const QMap<QString, QByteArray> atResult = filesWithDigests(round.base);

        if (moving)
            EXPECT_TRUE(atSource.isEmpty()) << QStringList(atSource.keys()).join(' ').toStdString();
        else
            EXPECT_EQ(atSource, pristine);

        QList<QByteArray> expected = pristine.values();
        QList<QByteArray> found;
        for (auto it = atResult.begin(); it != atResult.end(); ++it) {
            const QString name = QFileInfo(it.key()).fileName();
            // No temporary copy, lock or lock draft: the only hidden file is the run's marker.
            if (name.startsWith('.')) {
                EXPECT_EQ(name, runFolderMarkerName) << it.key().toStdString();
                continue;
            }
            found.append(it.value());
            if (isSidecar(it.key())) {
                bool besidePhoto = false;
                for (auto other = atResult.begin(); other != atResult.end(); ++other)
                    besidePhoto |= !isSidecar(other.key()) && stemOf(other.key()) == stemOf(it.key());
                EXPECT_TRUE(besidePhoto) << it.key().toStdString();
            }
        }
        std::sort(expected.begin(), expected.end());
        std::sort(found.begin(), found.end());
        EXPECT_EQ(found, expected) << "every file of the shoot exactly once in the result";

        const QString sessions = round.environment.value("XDG_DATA_HOME") + "/Kestrava/Sessions";
        EXPECT_TRUE(QDir(sessions).entryList({".source-*"}, QDir::Files | QDir::Hidden).isEmpty());
    }

    // Resumes until the run is done; a run killed before it began left the source as it was.
    void finish(const SortRound& round, const QString& context, int killResumeAt = 0)
    {
        finishByResuming(round, context, killResumeAt,
                         [&] { EXPECT_EQ(filesWithDigests(round.source), pristine) << context.toStdString(); });
    }

    TempTree tree;
    std::unique_ptr<QTemporaryDir> sourceVolume;
    QMap<QString, QByteArray> pristine;
};

TEST_P(SortCrashHarness, killedAtAnyDurableStepTheRunResumesToEveryFileExactlyOnce)
{
    // The uninterrupted run: its steps, and the invariant it must meet itself.
    const SortRound logged = freshRound(0);
    CliResult clean;
    const QList<DurableStep> steps = durableStepsOf(logged.sortArguments, logged.environment, &clean);
    ASSERT_EQ(clean.exitCode, 0) << clean.err.toStdString();
    ASSERT_FALSE(steps.isEmpty());
    expectAccountedFor(logged, "uninterrupted");
    // The run folder is marked before the first photo lands in it.
    const auto stepOf = [&](const std::function<bool(const DurableStep&)>& matches) {
        const auto found = std::find_if(steps.begin(), steps.end(), matches);
        return found == steps.end() ? -1 : found->number;
    };
    const int marked = stepOf([](const DurableStep& step) { return step.path.endsWith(runFolderMarkerName); });
    const int firstLanded = stepOf([&](const DurableStep& step) {
        return step.kind.startsWith("rename") && step.path.startsWith(logged.base)
            && !QFileInfo(step.path).fileName().startsWith('.');
    });
    EXPECT_GT(marked, 0);
    EXPECT_LT(marked, firstLanded);

    // Most kill points fall in the run itself (from its first lock on), the rest in the review
    // that journals the decisions before it.
    const int count = int(steps.size());
    int runStart = count;
    for (const DurableStep& step : steps)
        if (step.path.contains(".source-") || step.path.startsWith(logged.base)) {
            runStart = step.number;
            break;
        }
    QList<int> points = spreadSteps(1, runStart - 1, killsPerMode / 3);
    points += spreadSteps(runStart, count, killsPerMode - int(points.size()));
    const KillWalk walk = killAtEach(steps, points, [&](KillPoint& point) {
        const SortRound round = freshRound(point.index + 1);
        const QString context = GetParam().name + ": " + point.where;
        point.kill(round.sortArguments, round.environment);
        // Every other round the first resume dies too, at a step of its own.
        finish(round, context, point.index % 2 == 1 ? 1 + point.index * 7 % 40 : 0);
        expectAccountedFor(round, context);
        QDir(tree.path(QString("r%1").arg(point.index + 1))).removeRecursively();
    });
    std::printf("%s: %d durable steps, %d kill points, %d killed\n", qPrintable(GetParam().name), count, walk.rounds,
                walk.killed);
    EXPECT_GE(walk.killed, walk.rounds / 2);
}

// The second layer: kills at moments no step list names (between two steps, during a write),
// the sort and its first resume each killed after a random delay.
TEST_P(SortCrashHarness, killedAtRandomMomentsTheRunResumesToEveryFileExactlyOnce)
{
    const quint32 seed = QRandomGenerator::global()->generate();
    QRandomGenerator random(seed);
    SCOPED_TRACE("seed " + std::to_string(seed));
    for (int i = 1; i <= 2; ++i) {
        const SortRound round = freshRound(100 + i);
        const QString context = GetParam().name + QString(": random kill %1").arg(i);
        killAfter(round.sortArguments, round.environment, random.bounded(50, 900));
        killAfter({"resume", "--store", round.store}, round.environment, random.bounded(20, 400));
        finish(round, context);
        expectAccountedFor(round, context);
    }
}

// A second process between the kill and the resume: a stranger's file of exactly the photo's
// size appears at the name the killed run had promised the photo. Resume must not take it for
// the copy (the card might be formatted on the strength of it): the photo goes to a new name,
// and the stranger's file stays as it was.
TEST_P(SortCrashHarness, foreignFileAtAPendingDestinationIsNeverTakenForThePhoto)
{
    const SortRound logged = freshRound(0);
    const QList<DurableStep> steps = durableStepsOf(logged.sortArguments, logged.environment);
    // The third photo's rename into the result: killed before it, that name is pending and free.
    int renames = 0;
    const DurableStep* target = nullptr;
    for (const DurableStep& step : steps)
        if (step.kind == "renameNoReplace" && step.path.startsWith(logged.base) && !isSidecar(step.path)
            && ++renames == 3) {
            target = &step;
            break;
        }
    ASSERT_NE(target, nullptr);

    // The steps of a killed run can run a little ahead of the logged one (a copy is finished on
    // a background thread while the next is written), so a kill that came too late for the
    // name to be still free is tried again a few steps earlier, on a fresh shoot.
    std::optional<SortRound> killedRound;
    QString destination;
    for (int attempt = 0; attempt < 4 && !killedRound; ++attempt) {
        SortRound round = freshRound(1 + attempt);
        ASSERT_TRUE(runCliKilledAtStep(round.sortArguments, std::max(1, target->number - 3 * attempt), round.environment).killed);
        destination = round.base + target->path.mid(logged.base.size());
        if (!QFileInfo::exists(destination))
            killedRound = std::move(round);
    }
    ASSERT_TRUE(killedRound) << "every kill came after the rename onto " << destination.toStdString();
    const SortRound& round = *killedRound;
    QString original;
    QDirIterator it(round.source, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext() && original.isEmpty())
        if (it.next(), it.fileName() == QFileInfo(destination).fileName())
            original = it.filePath();
    ASSERT_FALSE(original.isEmpty());
    QByteArray stranger = readFile(original);
    stranger[stranger.size() / 2] = char(~stranger[stranger.size() / 2]);
    QDir().mkpath(QFileInfo(destination).path()); // a kill before the run made the folder
    writeFile(destination, stranger);
    QFile(destination).setFileTime(QFileInfo(original).lastModified(), QFileDevice::FileModificationTime);

    finish(round, "foreign file");
    EXPECT_EQ(readFile(destination), stranger);
    // Apart from the stranger, the result holds every file of the shoot exactly once.
    QFile::remove(destination);
    expectAccountedFor(round, "foreign file");
}

INSTANTIATE_TEST_SUITE_P(Modes, SortCrashHarness,
                         ::testing::Values(Scenario{"copy", "safeCopy", false},
                                           Scenario{"move", "moveOriginals", false},
                                           Scenario{"moveAcrossVolumes", "moveOriginals", true}),
                         [](const ::testing::TestParamInfo<Scenario>& info) { return info.param.name.toStdString(); });

} // namespace
