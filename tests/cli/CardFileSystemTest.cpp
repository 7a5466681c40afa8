// Sorting to and from camera cards and drives formatted FAT or exFAT: file systems without a
// no-replace rename and without hard links, mounted through FUSE as a photographer's card
// reader would present them on this machine. The real kestrava-cli copies and moves, is
// killed at its durable steps on the card and resumed; every photo must end up exactly once,
// byte for byte, with nothing half-written or reserved left among the results.

#include "CardImage.h"
#include "CliTestSupport.h"
#include "KillLoop.h"

#include "platform/Sha256.h"

#include <QFileInfo>
#include <QSet>
#include <gtest/gtest.h>

#include <unistd.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

constexpr int killsPerScenario = killBudget(8, 4);

// The free-space check keeps a reserve of a gigabyte, so a card must be larger than that;
// the image is sparse and costs only what is written.
constexpr int cardMegabytes = 1280;

QString formatName(CardFormat format)
{
    return format == CardFormat::exfat ? QStringLiteral("exFAT") : QStringLiteral("FAT");
}

// Digests of what a user sees below `root`; hidden names (the lock, the run's marker) aside.
QList<QByteArray> visibleDigests(const QString& root)
{
    QList<QByteArray> digests;
    for (const QString& relative : filesBelow(root))
        if (!QFileInfo(relative).fileName().startsWith(QLatin1Char('.')))
            digests.append(Sha256::hash(readFile(root + QLatin1Char('/') + relative)));
    std::sort(digests.begin(), digests.end());
    return digests;
}

QStringList visibleNamesBelow(const QString& root)
{
    QStringList names;
    for (const QString& relative : filesBelow(root))
        if (!QFileInfo(relative).fileName().startsWith(QLatin1Char('.')))
            names.append(relative);
    names.sort();
    return names;
}

// A half-written copy or a name reserved and never filled must not pass for a result.
QStringList leftoversBelow(const QString& root)
{
    QStringList leftovers;
    for (const QString& relative : filesBelow(root)) {
        const QFileInfo info(root + QLatin1Char('/') + relative);
        if (info.fileName().endsWith(QLatin1String(".partial")) || info.fileName().endsWith(QLatin1String(".tmp"))
            || info.fileName() == QLatin1String(".kestrava.lock") || (!info.fileName().startsWith(QLatin1Char('.')) && info.size() == 0))
            leftovers.append(relative);
    }
    return leftovers;
}

// One sort: a small shoot at `source`, sorted into `base`/Lauf, with its own sessions store.
struct Sort {
    QString source;
    QString base;
    QString store;
    QString mode;
    QProcessEnvironment environment;
    ShootDigests shoot;

    Sort(const QString& workFolder, const QString& sourceFolder, const QString& baseFolder, const QString& sortMode, quint32 seed)
        : source(sourceFolder)
        , base(baseFolder)
        , store(workFolder + QStringLiteral("/S"))
        , mode(sortMode)
        , environment(isolatedEnvironment(workFolder))
        , shoot(writeShoot(sourceFolder, 2, 1, seed, 8 * 1024))
    {
    }

    QStringList arguments() const { return sortArguments(source, base, store, mode); }
    SortRound round() const { return {source, base, store, environment, arguments()}; }
    QString result() const { return base + QStringLiteral("/Lauf"); }

    // Every photo exactly once in the result, byte for byte; the originals kept (copy) or
    // gone (move); nothing half-done left over.
    void expectFinished(const std::string& context) const
    {
        SCOPED_TRACE(context);
        EXPECT_EQ(visibleDigests(result()), shoot.keys());
        EXPECT_EQ(leftoversBelow(result()).join(QLatin1Char(' ')).toStdString(), "");
        if (mode == QLatin1String("safeCopy"))
            EXPECT_EQ(digestsBelow(source), shoot.keys());
        else
            EXPECT_EQ(filesBelow(source).join(QLatin1Char(' ')).toStdString(), "");
    }

};

class CardFileSystem : public ::testing::TestWithParam<CardFormat> {};

TEST_P(CardFileSystem, copiesAndMovesOntoTheCard)
{
    CardImage card(GetParam(), QStringLiteral("KARTE"), cardMegabytes);
    if (!card.isMounted())
        GTEST_SKIP() << card.skipReason().toStdString();
    TempTree tree;
    for (const QString& mode : {QStringLiteral("safeCopy"), QStringLiteral("moveOriginals")}) {
        const Sort sort(tree.path(mode), tree.path(mode + QStringLiteral("/Fotos")), card.path(mode), mode, 11);
        const CliResult run = runCli(sort.arguments(), sort.environment);
        ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
        sort.expectFinished(mode.toStdString());
    }
}

TEST_P(CardFileSystem, copiesAndMovesOffTheCard)
{
    CardImage card(GetParam(), QStringLiteral("KARTE"), cardMegabytes);
    if (!card.isMounted())
        GTEST_SKIP() << card.skipReason().toStdString();
    TempTree tree;
    for (const QString& mode : {QStringLiteral("safeCopy"), QStringLiteral("moveOriginals")}) {
        const Sort sort(tree.path(mode), card.path(mode + QStringLiteral("/DCIM/100CANON")), tree.path(mode + QStringLiteral("/Ziel")),
                        mode, 12);
        const CliResult run = runCli(sort.arguments(), sort.environment);
        ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
        sort.expectFinished(mode.toStdString());
    }
}

// Culling straight off the card: the rejects go to the card's own Trash, where they can be
// restored; nothing stays behind on the card but that Trash.
TEST_P(CardFileSystem, rejectsGoToTheCardsOwnTrash)
{
    CardImage card(GetParam(), QStringLiteral("KARTE"), cardMegabytes);
    if (!card.isMounted())
        GTEST_SKIP() << card.skipReason().toStdString();
    TempTree tree;
    Sort sort(tree.root(), card.path(QStringLiteral("DCIM/100CANON")), tree.path(QStringLiteral("Ziel")),
              QStringLiteral("organizeAndTrash"), 13);
    QStringList arguments = sort.arguments();
    arguments.replace(arguments.indexOf(QStringLiteral("keep")), QStringLiteral("delete"));
    arguments.append(QStringLiteral("--confirm-trash"));
    const CliResult run = runCli(arguments, sort.environment);
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(filesBelow(sort.source).join(QLatin1Char(' ')).toStdString(), "");
    const QString trashFiles = card.path(QStringLiteral(".Trash-%1/files").arg(::getuid()));
    EXPECT_EQ(digestsBelow(trashFiles), sort.shoot.keys());
    EXPECT_EQ(filesBelow(card.path(QStringLiteral(".Trash-%1/info").arg(::getuid()))).size(), sort.shoot.size());
}

// Kills fall on the steps of the execution (from taking the result folder's lock on) that
// touch the card. A run killed before it executes leaves nothing to resume, which is not what
// these tests are about.
QList<int> stepsOnTheCard(const QList<DurableStep>& steps, const QString& mountPoint)
{
    QList<int> onCard;
    bool executing = false;
    for (const DurableStep& step : steps) {
        executing = executing || step.path.contains(QLatin1String(".kestrava.lock"));
        if (executing && (step.path.startsWith(mountPoint) || step.kind == QLatin1String("fsync")))
            onCard.append(step.number);
    }
    return onCard;
}

// The steps at which a name on the card is reserved and not yet renamed onto: the rename of a
// name the run created just before (on FAT and exFAT, renameExclusive's empty reservation).
// A kill there leaves the reservation under the photo's final name.
QList<int> stepsOnAReservation(const QList<DurableStep>& steps, const QString& mountPoint)
{
    QList<int> onReservation;
    QSet<QString> created;
    for (const DurableStep& step : steps) {
        if (!step.path.startsWith(mountPoint))
            continue;
        if (step.kind == QLatin1String("create"))
            created.insert(step.path);
        else if (step.kind == QLatin1String("rename") && created.contains(step.path))
            onReservation.append(step.number);
    }
    return onReservation;
}

// Empty files among the results that a killed run left: what the resumed run must clear.
int emptyFilesBelow(const QString& root)
{
    int empty = 0;
    for (const QString& relative : filesBelow(root))
        empty += QFileInfo(root + QLatin1Char('/') + relative).size() == 0 && !QFileInfo(relative).fileName().startsWith(QLatin1Char('.'));
    return empty;
}

// Kills at steps on the card and, with `onReservations`, also between reserving a photo's
// final name and renaming onto it. Whatever the step, the resumed run gives every photo the
// name an uninterrupted run gives it (never an empty file under it and the photo beside it
// as "… 2").
void killAndResume(CardFormat format, bool sourceOnCard, const QString& mode, quint32 seed, bool onReservations = false)
{
    CardImage card(format, QStringLiteral("KARTE"), cardMegabytes);
    if (!card.isMounted())
        GTEST_SKIP() << card.skipReason().toStdString();
    TempTree tree;
    const auto sortNumbered = [&](int number) {
        const QString name = QStringLiteral("k%1").arg(number);
        const QString onCard = card.path(name);
        const QString local = tree.path(name);
        return sourceOnCard ? Sort(local, onCard + QStringLiteral("/DCIM"), local + QStringLiteral("/Ziel"), mode, seed)
                            : Sort(local, local + QStringLiteral("/Fotos"), onCard, mode, seed);
    };

    const Sort reference = sortNumbered(0);
    CliResult uninterrupted;
    const QList<DurableStep> steps = durableStepsOf(reference.arguments(), reference.environment, &uninterrupted);
    ASSERT_EQ(uninterrupted.exitCode, 0) << uninterrupted.err.toStdString();
    ASSERT_FALSE(steps.isEmpty()) << "this build logs no durable steps";
    reference.expectFinished("uninterrupted");

    QList<int> chosen = spreadOver(stepsOnTheCard(steps, card.mountPoint()), killsPerScenario);
    ASSERT_FALSE(chosen.isEmpty()) << "the run took no step on the card to kill at";
    const QList<int> reservations =
        onReservations ? spreadOver(stepsOnAReservation(steps, card.mountPoint()), killsPerScenario) : QList<int>();
    chosen += reservations;
    std::sort(chosen.begin(), chosen.end());
    chosen.erase(std::unique(chosen.begin(), chosen.end()), chosen.end());

    int reservationsLeft = 0;
    const KillWalk walk = killAtEach(steps, chosen, [&](KillPoint& point) {
        const Sort sort = sortNumbered(point.step);
        // A kill on a reservation is named by the rename and its file: the step number alone can
        // drift, since a copy is finished on its own thread while the next is written.
        const DurableStep& logged = steps.at(point.step - 1);
        const qsizetype round = logged.path.indexOf(QStringLiteral("/k0/"));
        const KilledRun killed = reservations.contains(point.step) && round >= 0
            ? point.killBefore(sort.arguments(), logged.kind, logged.path.mid(round + 3), sort.environment)
            : point.kill(sort.arguments(), sort.environment);
        reservationsLeft += killed.killed ? emptyFilesBelow(sort.result()) : 0;
        finishByResuming(sort.round(), point.where);
        sort.expectFinished(point.where.toStdString());
        EXPECT_EQ(visibleNamesBelow(sort.result()), visibleNamesBelow(reference.result())) << point.where.toStdString();
        if (::testing::Test::HasFailure())
            std::printf("%s\n", qPrintable(filesBelow(sort.result()).join(QLatin1Char('\n'))));
    });
    std::printf("%s, %s %s: %lld steps, %d kills, %d reservations left\n", qPrintable(formatName(format)),
                qPrintable(mode), sourceOnCard ? "off the card" : "onto the card", qint64(steps.size()), walk.killed,
                reservationsLeft);
    EXPECT_GT(walk.killed, 0);
    if (onReservations) {
        EXPECT_GT(reservationsLeft, 0) << "no kill fell between reserving a name and renaming onto it";
    }
}

TEST_P(CardFileSystem, killedMoveOntoTheCardResumesToEveryPhotoOnce)
{
    killAndResume(GetParam(), false, QStringLiteral("moveOriginals"), 21);
}

TEST_P(CardFileSystem, killedCopyOntoTheCardResumesToEveryPhotoOnceUnderItsName)
{
    killAndResume(GetParam(), false, QStringLiteral("safeCopy"), 22, true);
}

TEST(ExfatCard, killedMoveOffTheCardResumesToEveryPhotoOnce)
{
    killAndResume(CardFormat::exfat, true, QStringLiteral("moveOriginals"), 23);
}

INSTANTIATE_TEST_SUITE_P(Cards, CardFileSystem, ::testing::Values(CardFormat::exfat, CardFormat::fat),
                         [](const auto& info) { return formatName(info.param).toStdString(); });

} // namespace
