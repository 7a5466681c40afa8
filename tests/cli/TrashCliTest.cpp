// The trash mode from the command line: sort stops after staging the safety copies, resume
// does not stage twice, trash defer parks the transaction, trash commit (or sort
// --confirm-trash) moves the rejected originals into the Trash of a temporary XDG_DATA_HOME.

#include "TrashCliRig.h"

#include "model/Json.h"
#include "platform/Sha256.h"
#include "trash/TrashJson.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

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

// A session document edited to add a file outside the shoot to the staged transaction: the
// commit refuses it by name and never moves it; the shoot's own rejects go on the next commit.
TEST(TrashCli, editedSessionDocumentCannotSendAFileOutsideTheShootToTheTrash)
{
    TrashRig rig;
    ASSERT_EQ(runCli(rig.sort(), rig.environment).exitCode, 0);
    const QString letter = rig.tree.write(QStringLiteral("Dokumente/brief.txt"), "Lieber Max");
    const QStringList snapshots = QDir(rig.store).entryList({QStringLiteral("*.session.json")}, QDir::Files);
    ASSERT_EQ(snapshots.size(), 1);
    const QString snapshotPath = rig.store + QLatin1Char('/') + snapshots.first();
    QJsonObject document = QJsonDocument::fromJson(readFile(snapshotPath)).object();
    QJsonObject preparation = document.value(QLatin1String("trashPreparation")).toObject();
    QJsonArray entries = preparation.value(QLatin1String("entries")).toArray();
    QJsonObject forged = entries.first().toObject();
    forged.insert(QLatin1String("id"), QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper());
    forged.insert(QLatin1String("sourceURL"), FileUrl::fromLocalPath(letter).toUrlString());
    // The forger knows the letter's identity too, so no identity check alone would stop it.
    forged.insert(QLatin1String("sourceIdentity"), toJson(FileIdentity::capture(letter, true)));
    entries.append(forged);
    preparation.insert(QLatin1String("entries"), entries);
    document.insert(QLatin1String("trashPreparation"), preparation);
    rig.tree.write(QDir(rig.tree.root()).relativeFilePath(snapshotPath), QJsonDocument(document).toJson());

    const CliResult refused = rig.trash(QStringLiteral("commit"));
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_TRUE(QString::fromUtf8(refused.err).contains(QStringLiteral("„brief.txt“"))) << refused.err.toStdString();
    EXPECT_EQ(readFile(letter), QByteArray("Lieber Max"));

    rig.trash(QStringLiteral("commit"));
    EXPECT_EQ(readFile(letter), QByteArray("Lieber Max"));
    EXPECT_EQ(digestsBelow(rig.trashFiles), rig.rejectedDigests());
}
