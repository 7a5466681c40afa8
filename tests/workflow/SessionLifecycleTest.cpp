// Session documents, applying saved sessions and the texts around saving.

#include "WorkflowRig.h"
#include "session/SessionStoreError.h"

#include <QDir>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;

TEST(SessionLifecycle, documentRoundTripRestoresDecisionsAndPosition)
{
    WorkflowRig rig;
    rig.load(shoot(rig.photoFolder, 2, 1));
    rig.startReview(SortOperationMode::moveOriginals);
    rig.decide(PhotoDecision::keep);
    rig.decide(PhotoDecision::maybe);
    EXPECT_EQ(rig.vm().sessionStage()->suggestedSessionDocumentName(), QStringLiteral("Ergebnis.kestrava"));
    const QString document = rig.tree.path(QStringLiteral("Sicherung.kestrava"));
    ASSERT_TRUE(rig.vm().sessionStage()->saveSessionDocument(document));

    rig.vm().newSort();
    ASSERT_TRUE(rig.vm().sessionStage()->openSessionDocument(document));
    EXPECT_EQ(rig.vm().alertText(), QStringLiteral("4 gespeicherten Dateientscheidungen geladen."));
    EXPECT_EQ(rig.vm().route(), AppRoute::reviewing);
    EXPECT_EQ(rig.vm().review()->currentIndex(), 2);
    EXPECT_EQ(rig.vm().selectedOperationMode(), SortOperationMode::moveOriginals);
    EXPECT_EQ(rig.vm().review()->classifiedCount(), 2);
    EXPECT_EQ(rig.vm().review()->reviewGroupCount(), 3);
}

TEST(SessionLifecycle, documentProblemsChangeNothing)
{
    WorkflowRig rig;
    rig.vm().sessionStage()->saveSessionDocument(rig.tree.path(QStringLiteral("x.kestrava")));
    EXPECT_EQ(rig.vm().alertText(), QStringLiteral("Es ist noch keine Sitzung vorhanden."));
    EXPECT_FALSE(QFile::exists(rig.tree.path(QStringLiteral("x.kestrava"))));
    rig.vm().dismissAlert();

    rig.load(shoot(rig.photoFolder, 2));
    const QString document = rig.tree.path(QStringLiteral("Sicherung.kestrava"));
    ASSERT_TRUE(rig.vm().sessionStage()->saveSessionDocument(document));
    const QUuid id = rig.vm().session()->id;

    // The photo folder is gone: the message names it and the open run stays as it was.
    SortSession moved = decodeSortSession(readFile(document));
    moved.sourceFolder = FileUrl::fromLocalPath(rig.tree.path(QStringLiteral("Verschwunden")));
    writeFile(document, encodeSortSession(moved));
    EXPECT_FALSE(rig.vm().sessionStage()->openSessionDocument(document));
    EXPECT_EQ(rig.vm().alertText(),
              SessionStoreError::sourceFolderMissing(moved.sourceFolder.path()).description());
    EXPECT_EQ(rig.vm().session()->id, id);
    EXPECT_EQ(rig.vm().route(), AppRoute::setup);
    rig.vm().dismissAlert();

    writeFile(document, "{\"version\":4}");
    EXPECT_FALSE(rig.vm().sessionStage()->openSessionDocument(document));
    EXPECT_EQ(rig.vm().alertText(), QStringLiteral("Die Sitzungsversion 4 wird nicht unterstützt."));
    EXPECT_EQ(rig.vm().session()->id, id);
}

TEST(SessionLifecycle, ambiguousOlderSessionAsksForTheModeAgain)
{
    WorkflowRig rig;
    rig.load(shoot(rig.photoFolder, 2));
    rig.startReview(SortOperationMode::organizeAndTrash);
    SortSession older = *rig.vm().makeSessionSnapshot(SortSessionStatus::ready);
    older.requiresModeSelection = true;

    rig.vm().apply(older);
    EXPECT_FALSE(rig.vm().selectedOperationMode());
    EXPECT_EQ(rig.vm().route(), AppRoute::setup);
    EXPECT_EQ(rig.vm().alertText(),
              QStringLiteral("Diese ältere Sitzung verwendete eine nicht eindeutige Verschieben-/Papierkorb-Kombination. "
                             "Bitte wähle den Modus erneut."));
    EXPECT_FALSE(rig.vm().canStartReview());
    rig.vm().selectOperationMode(SortOperationMode::organizeAndTrash);
    EXPECT_FALSE(rig.vm().makeSessionSnapshot()->requiresModeSelection);
}

TEST(SessionLifecycle, routesFollowTheSessionStatus)
{
    WorkflowRig rig;
    rig.load(shoot(rig.photoFolder, 1, 1));
    SortSession inSetup = *rig.vm().makeSessionSnapshot();
    rig.vm().apply(inSetup);
    EXPECT_EQ(rig.vm().route(), AppRoute::setup);
    EXPECT_FALSE(rig.vm().selectedOperationMode());

    rig.vm().selectOperationMode(SortOperationMode::safeCopy);
    rig.startReview();
    rig.decide(PhotoDecision::keep);
    rig.decide(PhotoDecision::keep);
    ASSERT_TRUE(waitFor([&] { return rig.vm().route() == AppRoute::confirmation; }));
    const SortSession ready = *rig.vm().makeSessionSnapshot();
    EXPECT_EQ(ready.status, SortSessionStatus::ready);

    rig.vm().apply(ready);
    EXPECT_EQ(rig.vm().route(), AppRoute::confirmation);
    SortSession paused = ready;
    paused.status = SortSessionStatus::paused;
    rig.vm().apply(paused);
    EXPECT_EQ(rig.vm().route(), AppRoute::confirmation);
    SortSession reopened = ready;
    reopened.photos[0].decision.reset();
    rig.vm().apply(reopened);
    EXPECT_EQ(rig.vm().route(), AppRoute::reviewing);
}

TEST(SessionLifecycle, resumeChoiceOnlyOnWelcomeAndIgnoringKeepsFiles)
{
    WorkflowRig rig;
    rig.load(shoot(rig.photoFolder, 2));
    rig.startReview();
    rig.decide(PhotoDecision::keep);
    const QString snapshot = rig.store->snapshotPath(rig.vm().session()->id);
    rig.restart();
    ASSERT_TRUE(waitFor([&] { return rig.vm().sessionStage()->hasResumableSession(); }));
    EXPECT_TRUE(rig.vm().sessionStage()->showResumeChoice());
    EXPECT_EQ(rig.vm().sessionStage()->savedStatusText(), QStringLiteral("Wird automatisch gesichert"));

    rig.vm().sessionStage()->ignoreSavedSession();
    EXPECT_FALSE(rig.vm().sessionStage()->showResumeChoice());
    EXPECT_TRUE(QFile::exists(snapshot));

    rig.restart();
    ASSERT_TRUE(waitFor([&] { return rig.vm().sessionStage()->hasResumableSession(); }));
    rig.load(shoot(rig.photoFolder, 1));
    EXPECT_FALSE(rig.vm().sessionStage()->showResumeChoice());
}

TEST(SessionLifecycle, failedSnapshotIsReported)
{
    WorkflowRig rig;
    rig.fileOps.failAt(FileOps::Op::open, 1, EACCES, true);
    rig.load(shoot(rig.photoFolder, 1));
    ASSERT_TRUE(waitFor([&] { return rig.vm().alertMessage().has_value(); }));
    EXPECT_TRUE(rig.vm().alertText().startsWith(QStringLiteral("Sitzung konnte nicht gespeichert werden: ")));
    EXPECT_FALSE(rig.vm().sessionStage()->lastSavedAt());
}

TEST(SessionLifecycle, olderDocumentOfALiveSessionContinuesAfterTheLoggedEvents)
{
    WorkflowRig rig;
    rig.load(shoot(rig.photoFolder, 0, 4));
    rig.startReview(SortOperationMode::safeCopy);
    rig.decide(PhotoDecision::keep);
    const QString document = rig.tree.path(QStringLiteral("Sicherung.kestrava"));
    ASSERT_TRUE(rig.vm().sessionStage()->saveSessionDocument(document));
    rig.decide(PhotoDecision::del);
    rig.decide(PhotoDecision::del);
    rig.vm().flushSessionBeforeTerminationAndWait();

    // Restarted, the user goes back to the saved state and decides the second photo anew.
    rig.restart();
    ASSERT_TRUE(rig.vm().sessionStage()->openSessionDocument(document));
    ASSERT_EQ(rig.vm().review()->currentIndex(), 1);
    rig.decide(PhotoDecision::maybe);
    const QUuid id = rig.vm().session()->id;
    rig.vm().flushSessionBeforeTerminationAndWait();

    QList<qint64> sequences;
    for (const QByteArray& line : readFile(rig.store->eventLogPath(id)).split('\n'))
        if (!line.isEmpty())
            sequences.append(decodeEventLine(line).sequence);
    for (qsizetype i = 1; i < sequences.size(); ++i)
        EXPECT_GT(sequences[i], sequences[i - 1]) << "event " << i;

    // A later resume shows what the user saw last, not the events the document left behind.
    rig.restart();
    const SortSession resumed = rig.store->loadSession(id).result();
    ASSERT_EQ(resumed.photos.size(), 4);
    EXPECT_EQ(resumed.photos[0].decision, PhotoDecision::keep);
    EXPECT_EQ(resumed.photos[1].decision, PhotoDecision::maybe);
    EXPECT_EQ(resumed.photos[2].decision, std::nullopt);
    EXPECT_EQ(resumed.currentIndex, 2);
}
