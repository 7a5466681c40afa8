// Every decision reaches the event log before it counts; a failed write puts the files back.
// Faults come from the store's FileOps; a crash is a view model dropped without any flush.

#include "WorkflowRig.h"
#include "session/SessionEvent.h"

#include <QSignalSpy>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

QList<SessionEvent> eventsOf(WorkflowRig& rig)
{
    QList<SessionEvent> events;
    const QByteArray log = readFile(rig.store->eventLogPath(rig.vm().session()->id));
    for (const QByteArray& line : log.split('\n'))
        if (!line.isEmpty())
            events.append(decodeEventLine(line));
    return events;
}

const QString decisionPrefix = QStringLiteral("Die Entscheidung konnte nicht sicher gespeichert werden: ");

} // namespace

TEST(Journal, decisionIsWrittenBeforeTheNextIsAccepted)
{
    WorkflowRig rig;
    rig.load(shoot(rig.photoFolder, 2));
    rig.startReview();
    rig.markPreviewVisible();
    rig.vm().review()->classify(PhotoDecision::keep);
    EXPECT_TRUE(rig.vm().review()->isCommittingDecision());
    EXPECT_EQ(rig.vm().review()->currentIndex(), 0);
    // Neither a second decision, an undo nor a step back gets in while the line is written.
    rig.vm().review()->classify(PhotoDecision::del);
    rig.vm().review()->undoLastDecision();
    rig.vm().review()->reclassify(PhotoDecision::del, rig.vm().reviewGroups()[1].id);
    EXPECT_EQ(rig.vm().review()->history().size(), 1);
    QSignalSpy committed(rig.vm().review(), &ReviewStage::decisionCommitted);
    ASSERT_TRUE(committed.wait(3000));
    EXPECT_FALSE(rig.vm().review()->isCommittingDecision());
    EXPECT_EQ(rig.vm().review()->currentIndex(), 1);
    EXPECT_TRUE(rig.vm().sessionStage()->lastSavedAt());
    EXPECT_TRUE(rig.vm().sessionStage()->savedStatusText().startsWith(QStringLiteral("Gespeichert · ")));

    const auto events = eventsOf(rig);
    ASSERT_EQ(events.size(), 1);
    EXPECT_EQ(events[0].decision, PhotoDecision::keep);
    EXPECT_EQ(events[0].sourcePaths.size(), 2);
    EXPECT_EQ(events[0].currentIndex, 1);
}

TEST(Journal, failedWriteRollsTheDecisionBack)
{
    WorkflowRig rig;
    rig.load(shoot(rig.photoFolder, 3));
    rig.startReview();
    rig.decide(PhotoDecision::maybe);
    rig.fileOps.failAt(FileOps::Op::fsync, 1, ENOSPC);
    rig.decide(PhotoDecision::del);

    EXPECT_TRUE(rig.vm().alertText().startsWith(decisionPrefix)) << rig.vm().alertText().toStdString();
    EXPECT_EQ(rig.vm().review()->currentIndex(), 1);
    EXPECT_FALSE(rig.vm().review()->decision(rig.vm().reviewGroups()[1]));
    EXPECT_EQ(rig.vm().review()->decisionCount(PhotoDecision::del), 0);
    EXPECT_EQ(rig.vm().review()->decisionCount(PhotoDecision::maybe), 1);
    EXPECT_FALSE(rig.vm().review()->isCommittingDecision());
    // The entry stays on the stack, as the overlay stays on screen.
    EXPECT_EQ(rig.vm().review()->history().size(), 2);

    // The disk recovers: the same group can be decided again and the log holds only what counted.
    rig.fileOps.clearFaults();
    rig.vm().dismissAlert();
    rig.decide(PhotoDecision::keep);
    EXPECT_EQ(rig.vm().review()->currentIndex(), 2);
    EXPECT_FALSE(rig.vm().alertMessage());
    rig.restart();
    ASSERT_TRUE(waitFor([&] { return rig.vm().sessionStage()->hasResumableSession(); }));
    rig.vm().sessionStage()->resumeSavedSession();
    EXPECT_EQ(rig.vm().review()->decision(rig.vm().reviewGroups()[0]), PhotoDecision::maybe);
    EXPECT_EQ(rig.vm().review()->decision(rig.vm().reviewGroups()[1]), PhotoDecision::keep);
}

TEST(Journal, failedUndoKeepsTheDecisionAndDropsTheEntry)
{
    WorkflowRig rig;
    rig.load(shoot(rig.photoFolder, 3));
    rig.startReview();
    rig.decide(PhotoDecision::keep);
    rig.decide(PhotoDecision::del);
    rig.fileOps.failAt(FileOps::Op::write, 1, EIO);
    rig.vm().review()->undoLastDecision();
    rig.settle();

    // The undo is reverted in memory; the message is the error alone.
    EXPECT_EQ(rig.vm().review()->decision(rig.vm().reviewGroups()[1]), PhotoDecision::del);
    EXPECT_EQ(rig.vm().review()->decisionCount(PhotoDecision::del), 1);
    ASSERT_TRUE(rig.vm().alertMessage());
    EXPECT_FALSE(rig.vm().alertText().startsWith(decisionPrefix));
    EXPECT_FALSE(rig.vm().alertText().isEmpty());
    EXPECT_EQ(rig.vm().review()->history().size(), 1);

    // The next undo takes back the decision before it, and that one is journaled.
    rig.fileOps.clearFaults();
    rig.vm().review()->undoLastDecision();
    rig.settle();
    EXPECT_FALSE(rig.vm().review()->decision(rig.vm().reviewGroups()[0]));
    EXPECT_EQ(rig.vm().review()->currentIndex(), 0);
    const auto events = eventsOf(rig);
    ASSERT_EQ(events.size(), 3);
    EXPECT_FALSE(events.last().decision);
    EXPECT_EQ(events.last().currentIndex, 0);
}

TEST(Journal, failedReclassificationHasItsOwnPrefix)
{
    WorkflowRig rig;
    rig.load(shoot(rig.photoFolder, 2));
    rig.startReview();
    rig.decide(PhotoDecision::keep);
    rig.fileOps.failAt(FileOps::Op::write, 1, ENOSPC);
    rig.vm().review()->reclassify(PhotoDecision::del, rig.vm().reviewGroups()[0].id);
    rig.settle();
    EXPECT_TRUE(rig.vm().alertText().startsWith(QStringLiteral("Die Änderung konnte nicht sicher gespeichert werden: ")));
    EXPECT_EQ(rig.vm().review()->decision(rig.vm().reviewGroups()[0]), PhotoDecision::keep);
}

TEST(Journal, decisionsSurviveACrashAndResumeWhereReviewStopped)
{
    WorkflowRig rig;
    rig.load(shoot(rig.photoFolder, 3, 2));
    rig.startReview();
    rig.decide(PhotoDecision::keep);
    rig.decide(PhotoDecision::del);
    rig.decide(PhotoDecision::maybe);
    const QUuid id = rig.vm().session()->id;

    // No final snapshot: the process dies with only the event log newer than the snapshot.
    rig.restart();
    ASSERT_TRUE(waitFor([&] { return rig.vm().sessionStage()->hasResumableSession(); }));
    EXPECT_TRUE(rig.vm().sessionStage()->showResumeChoice());
    EXPECT_EQ(rig.vm().sessionStage()->resumableSessionDescription(), QStringLiteral("6 Dateien entschieden · Fotos"));

    rig.vm().sessionStage()->resumeSavedSession();
    EXPECT_FALSE(rig.vm().sessionStage()->hasResumableSession());
    EXPECT_EQ(rig.vm().session()->id, id);
    EXPECT_EQ(rig.vm().route(), AppRoute::reviewing);
    EXPECT_EQ(rig.vm().review()->currentIndex(), 3);
    EXPECT_EQ(rig.vm().review()->decisionCount(PhotoDecision::keep), 1);
    EXPECT_EQ(rig.vm().review()->decisionCount(PhotoDecision::del), 1);
    EXPECT_EQ(rig.vm().review()->decisionCount(PhotoDecision::maybe), 1);
    EXPECT_EQ(rig.vm().selectedOperationMode(), SortOperationMode::safeCopy);
    EXPECT_EQ(rig.vm().destinationFolderPath(), rig.destinationBase + QStringLiteral("/Ergebnis"));

    // Numbering continues after the resumed log; the decision lands in the same session.
    rig.decide(PhotoDecision::keep);
    const auto events = eventsOf(rig);
    ASSERT_EQ(events.size(), 4);
    EXPECT_EQ(events.last().sequence, 4);
}

TEST(Journal, everyHundredthEventAlsoWritesASnapshot)
{
    WorkflowRig rig;
    rig.load(shoot(rig.photoFolder, 0, 102));
    rig.startReview();
    for (int i = 0; i < 100; ++i)
        rig.decide(PhotoDecision::keep);
    const SortSession snapshot = decodeSortSession(readFile(rig.store->snapshotPath(rig.vm().session()->id)));
    EXPECT_EQ(snapshot.lastEventSequence, 100);
    EXPECT_EQ(snapshot.currentIndex, 100);
    int decided = 0;
    for (const PhotoItem& item : snapshot.photos)
        decided += item.decision ? 1 : 0;
    EXPECT_EQ(decided, 100);
}

TEST(Journal, quittingAfterADecisionLosesNothing)
{
    WorkflowRig rig;
    rig.load(shoot(rig.photoFolder, 2));
    rig.startReview();
    rig.decide(PhotoDecision::del);
    rig.vm().flushSessionBeforeTerminationAndWait();
    const SortSession snapshot = decodeSortSession(readFile(rig.store->snapshotPath(rig.vm().session()->id)));
    EXPECT_EQ(snapshot.lastEventSequence, 1);
    EXPECT_EQ(snapshot.currentIndex, 1);
    rig.restart();
    ASSERT_TRUE(waitFor([&] { return rig.vm().sessionStage()->hasResumableSession(); }));
    rig.vm().sessionStage()->resumeSavedSession();
    EXPECT_EQ(rig.vm().review()->decision(rig.vm().reviewGroups()[0]), PhotoDecision::del);
    EXPECT_EQ(rig.vm().review()->currentIndex(), 1);
}
