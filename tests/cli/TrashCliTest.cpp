// The trash mode from the command line: sort stops after staging the safety copies, resume
// does not stage twice, trash defer parks the transaction, trash commit (or sort
// --confirm-trash) moves the rejected originals into the Trash of a temporary XDG_DATA_HOME.

#include "CliTestSupport.h"

#include "model/Json.h"
#include "platform/Sha256.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

// Decides IMG_0001 (JPEG and RAW) and SOLO_0002 delete, IMG_0002 maybe, everything else keep.
QString writeDecisions(TempTree& tree, int pairs, int singles)
{
    QByteArray csv = "Datei,Format,Entscheidung,Kopierstatus,Nachweis\n";
    for (int i = 1; i <= pairs; ++i)
        csv += QStringLiteral("IMG_%1.JPG,JPEG,%2,,\n")
                   .arg(i, 4, 10, QLatin1Char('0'))
                   .arg(i == 1 ? QStringLiteral("Aussortiert") : i == 2 ? QStringLiteral("Vielleicht") : QStringLiteral("Behalten"))
                   .toUtf8();
    for (int i = 1; i <= singles; ++i)
        csv += QStringLiteral("SOLO_%1.JPG,JPEG,%2,,\n")
                   .arg(i, 4, 10, QLatin1Char('0'))
                   .arg(i == 2 ? QStringLiteral("Aussortiert") : QStringLiteral("Behalten"))
                   .toUtf8();
    return tree.write(QStringLiteral("liste.csv"), csv);
}

const QStringList rejected{QStringLiteral("IMG_0001.JPG"), QStringLiteral("IMG_0001.NEF"), QStringLiteral("SOLO_0002.JPG")};

struct TrashRig {
    TempTree tree;
    QString source = tree.path(QStringLiteral("Karte"));
    ShootDigests shoot = writeShoot(source, 4, 3);
    QProcessEnvironment environment = isolatedEnvironment(tree.root());
    QString store = tree.path(QStringLiteral("S"));
    QString resultFolder = tree.path(QStringLiteral("Ziel/Lauf"));
    QString trashFiles = environment.value(QStringLiteral("XDG_DATA_HOME")) + QStringLiteral("/Trash/files");

    QStringList sort() const
    {
        QStringList arguments = sortArguments(source, tree.path(QStringLiteral("Ziel")), store, QStringLiteral("organizeAndTrash"));
        const qsizetype all = arguments.indexOf(QStringLiteral("--all"));
        arguments[all] = QStringLiteral("--decisions");
        arguments[all + 1] = writeDecisions(const_cast<TempTree&>(tree), 4, 3);
        return arguments;
    }
    CliResult trash(const QString& action) const
    {
        return runCli({QStringLiteral("trash"), action, QStringLiteral("--store"), store}, environment);
    }
    QList<QByteArray> rejectedDigests() const
    {
        QList<QByteArray> digests;
        for (auto it = shoot.begin(); it != shoot.end(); ++it)
            if (rejected.contains(it.value()))
                digests.append(it.key());
        std::sort(digests.begin(), digests.end());
        return digests;
    }
    QList<QByteArray> keptDigests() const
    {
        QList<QByteArray> digests;
        for (auto it = shoot.begin(); it != shoot.end(); ++it)
            if (!rejected.contains(it.value()))
                digests.append(it.key());
        std::sort(digests.begin(), digests.end());
        return digests;
    }
    // The result folder without the safety folder: what the organising step produced.
    QList<QByteArray> organizedDigests() const
    {
        QList<QByteArray> digests;
        for (const QString& relative : filesBelow(resultFolder))
            if (!relative.startsWith(QStringLiteral("Sicherheitsablage/")))
                digests.append(Sha256::hash(readFile(resultFolder + QLatin1Char('/') + relative)));
        std::sort(digests.begin(), digests.end());
        return digests;
    }
};

QStringList entryStates(const QJsonObject& preparation)
{
    QStringList states;
    for (const QJsonValue& entry : preparation.value(QLatin1String("entries")).toArray())
        states.append(entry.toObject().value(QLatin1String("state")).toString());
    states.removeDuplicates();
    return states;
}

} // namespace

TEST(TrashCli, sortStagesDeferAndCommitMoveTheRejectedOriginalsToTheTrash)
{
    TrashRig rig;
    const CliResult staged = runCli(rig.sort(), rig.environment);
    ASSERT_EQ(staged.exitCode, 0) << staged.err.toStdString();
    const QJsonObject output = lastJson(staged.out);
    const QJsonObject preparation = output.value(QLatin1String("trashPreparation")).toObject();
    EXPECT_EQ(preparation.value(QLatin1String("entries")).toArray().size(), 3);
    EXPECT_EQ(entryStates(preparation), QStringList{QStringLiteral("stagedVerified")});

    // Keep and maybe were moved; the rejected originals are still where they were, and a
    // verified safety copy of each lies in the result folder. Nothing is in the Trash yet.
    EXPECT_EQ(rig.organizedDigests(), rig.keptDigests());
    EXPECT_EQ(digestsBelow(rig.source), rig.rejectedDigests());
    EXPECT_EQ(digestsBelow(rig.resultFolder + QStringLiteral("/Sicherheitsablage")), rig.rejectedDigests());
    EXPECT_TRUE(filesBelow(rig.trashFiles).isEmpty());

    // Resuming does not stage a second time: the transaction waits for its confirmation.
    const CliResult resumed = runCli({QStringLiteral("resume"), QStringLiteral("--store"), rig.store}, rig.environment);
    EXPECT_EQ(resumed.exitCode, 0) << resumed.err.toStdString();
    EXPECT_TRUE(QString::fromUtf8(resumed.err).contains(QStringLiteral("trash commit")));
    EXPECT_EQ(digestsBelow(rig.resultFolder + QStringLiteral("/Sicherheitsablage")), rig.rejectedDigests());

    const CliResult deferred = rig.trash(QStringLiteral("defer"));
    ASSERT_EQ(deferred.exitCode, 0) << deferred.err.toStdString();
    EXPECT_EQ(entryStates(lastJson(deferred.out)), QStringList{QStringLiteral("deferred")});
    EXPECT_EQ(digestsBelow(rig.source), rig.rejectedDigests());

    const CliResult committed = rig.trash(QStringLiteral("commit"));
    ASSERT_EQ(committed.exitCode, 0) << committed.err.toStdString();
    for (const QString& state : entryStates(lastJson(committed.out)))
        EXPECT_TRUE(state == QLatin1String("trashedConfirmed") || state == QLatin1String("stageCleaned")) << state.toStdString();
    EXPECT_TRUE(filesBelow(rig.source).isEmpty());
    EXPECT_EQ(digestsBelow(rig.trashFiles), rig.rejectedDigests());
    EXPECT_EQ(filesBelow(QFileInfo(rig.trashFiles).path() + QStringLiteral("/info")).size(), 3);
    EXPECT_EQ(rig.organizedDigests(), rig.keptDigests());

    // Nothing is left to commit.
    const CliResult again = rig.trash(QStringLiteral("commit"));
    EXPECT_EQ(again.exitCode, 1);
    EXPECT_EQ(digestsBelow(rig.trashFiles), rig.rejectedDigests());
}

TEST(TrashCli, confirmTrashCommitsRightAfterStaging)
{
    TrashRig rig;
    const CliResult result = runCli(rig.sort() + QStringList{QStringLiteral("--confirm-trash")}, rig.environment);
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QJsonObject preparation = lastJson(result.out).value(QLatin1String("trashPreparation")).toObject();
    EXPECT_EQ(preparation.value(QLatin1String("entries")).toArray().size(), 3);
    for (const QString& state : entryStates(preparation))
        EXPECT_TRUE(state == QLatin1String("trashedConfirmed") || state == QLatin1String("stageCleaned")) << state.toStdString();
    EXPECT_TRUE(filesBelow(rig.source).isEmpty());
    EXPECT_EQ(digestsBelow(rig.trashFiles), rig.rejectedDigests());
    EXPECT_EQ(rig.organizedDigests(), rig.keptDigests());
    EXPECT_EQ(rig.trash(QStringLiteral("commit")).exitCode, 1);
}

// A commit that dies at a chosen step is finished by the next one: a move whose confirmation
// never reached the journal is settled from the disk (the original gone, the same file in the
// Trash), never repeated, and the rest is moved; no safety folder is left behind.
TEST(TrashCli, commitKilledMidwayIsFinishedByTheNextCommitWithoutMovingAnythingTwice)
{
    for (const QString& crashAt : {QStringLiteral("journal.append.stageCleaned#3"), QStringLiteral("trash.after-move#2"),
                                   QStringLiteral("trash.before-move#2")}) {
        SCOPED_TRACE(crashAt.toStdString());
        TrashRig rig;
        ASSERT_EQ(runCli(rig.sort(), rig.environment).exitCode, 0);
        QProcessEnvironment crashing = rig.environment;
        crashing.insert(QStringLiteral("KESTRAVA_CRASH_AT"), crashAt);
        EXPECT_EQ(runCli({QStringLiteral("trash"), QStringLiteral("commit"), QStringLiteral("--store"), rig.store}, crashing).exitCode, 86);

        const CliResult after = rig.trash(QStringLiteral("commit"));
        EXPECT_EQ(after.exitCode, 0) << after.err.toStdString();
        EXPECT_FALSE(after.err.contains("zweite Sicherheitswarnung"));
        EXPECT_EQ(entryStates(lastJson(after.out)), QStringList{QStringLiteral("stageCleaned")});
        EXPECT_EQ(digestsBelow(rig.trashFiles), rig.rejectedDigests());
        EXPECT_EQ(filesBelow(QFileInfo(rig.trashFiles).path() + QStringLiteral("/info")).size(), 3);
        EXPECT_TRUE(filesBelow(rig.source).isEmpty());
        EXPECT_FALSE(QFileInfo::exists(rig.resultFolder + QStringLiteral("/Sicherheitsablage")));
        // Recorded now: a further commit has no transaction to work on.
        EXPECT_EQ(rig.trash(QStringLiteral("commit")).exitCode, 1);
    }
}

// Ctrl-C during the commit: the file being moved is finished, the next one is not started,
// and a later commit moves the rest.
TEST(TrashCli, interruptDuringCommitStopsBeforeTheNextFile)
{
    TrashRig rig;
    ASSERT_EQ(runCli(rig.sort(), rig.environment).exitCode, 0);
    QProcessEnvironment interrupted = rig.environment;
    interrupted.insert(QStringLiteral("KESTRAVA_INTERRUPT_AT"), QStringLiteral("commit.after-move#1"));
    const CliResult stopped =
        runCli({QStringLiteral("trash"), QStringLiteral("commit"), QStringLiteral("--store"), rig.store}, interrupted);
    EXPECT_EQ(stopped.exitCode, 1);
    EXPECT_TRUE(QString::fromUtf8(stopped.err).contains(QStringLiteral("hält vor der nächsten Datei an")));
    EXPECT_EQ(digestsBelow(rig.trashFiles).size(), 1);
    EXPECT_EQ(filesBelow(rig.source).size(), 2);
    // Every safety copy stays until its whole motif is in the Trash.
    EXPECT_EQ(digestsBelow(rig.resultFolder + QStringLiteral("/Sicherheitsablage")).size(), 3);

    const CliResult finished = rig.trash(QStringLiteral("commit"));
    ASSERT_EQ(finished.exitCode, 0) << finished.err.toStdString();
    EXPECT_EQ(digestsBelow(rig.trashFiles), rig.rejectedDigests());
    EXPECT_TRUE(filesBelow(rig.source).isEmpty());
}
