// Deciding, stepping back and undoing in memory: guards, counts, feedback and the move to the
// confirmation screen. Journaling has its own file (JournalTest.cpp).

#include "WorkflowRig.h"

#include <QSignalSpy>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

struct Reviewing : ::testing::Test {
    // Two pairs then a single: groups of 2, 2 and 1 files.
    void SetUp() override
    {
        rig.load(shoot(rig.photoFolder, 2, 1));
        rig.startReview();
    }
    KestravaViewModel& vm() { return rig.vm(); }
    WorkflowRig rig{WorkflowRig::Persistence::none};
};

} // namespace

TEST_F(Reviewing, decisionWaitsForVisiblePreviewAndIsIgnoredWhileApplying)
{
    // Nothing to explain before a key came; after one, the review says why it did nothing.
    EXPECT_TRUE(vm().review()->inputGuardText().isEmpty());
    vm().review()->classify(PhotoDecision::keep);
    EXPECT_EQ(vm().review()->classifiedCount(), 0);
    EXPECT_TRUE(vm().review()->history().isEmpty());
    EXPECT_FALSE(vm().review()->decisionFeedback());
    EXPECT_EQ(vm().review()->inputGuardText(), QStringLiteral("Nächstes Foto wird geladen"));

    // A late report for a file of another group does not unlock the decision either.
    vm().review()->setPreviewReady(true, vm().loading()->reviewGroups()[1].previewURL.path());
    EXPECT_FALSE(vm().review()->isPreviewReady());

    rig.markPreviewVisible();
    EXPECT_TRUE(vm().review()->inputGuardText().isEmpty()) << "the picture is there";
    vm().execution()->setApplyingForTesting(true);
    vm().review()->classify(PhotoDecision::keep);
    EXPECT_TRUE(vm().review()->history().isEmpty());
    vm().execution()->setApplyingForTesting(false);

    vm().review()->classify(PhotoDecision::keep);
    EXPECT_EQ(vm().review()->history().size(), 1);
    EXPECT_EQ(vm().review()->currentIndex(), 1);
    // The next group's picture must load before the next decision.
    EXPECT_FALSE(vm().review()->isPreviewReady());
    EXPECT_TRUE(vm().review()->inputGuardText().isEmpty()) << "a picture merely loading is no refusal";
    vm().review()->classify(PhotoDecision::keep);
    EXPECT_EQ(vm().review()->history().size(), 1);
    EXPECT_EQ(vm().review()->inputGuardText(), QStringLiteral("Nächstes Foto wird geladen"));
}

TEST_F(Reviewing, countsArePerGroupAndFollowRedecisions)
{
    rig.decide(PhotoDecision::keep);
    rig.decide(PhotoDecision::del);
    EXPECT_EQ(vm().review()->decisionCount(PhotoDecision::keep), 1);
    EXPECT_EQ(vm().review()->decisionCount(PhotoDecision::del), 1);
    EXPECT_EQ(vm().review()->classifiedCount(), 2);
    // Both files of the pair carry the decision.
    for (const PhotoItem& item : vm().loading()->photos())
        if (vm().loading()->reviewGroups()[0].memberURLs.contains(item.sourceURL)) {
            EXPECT_EQ(item.decision, PhotoDecision::keep);
        }

    vm().review()->reclassify(PhotoDecision::maybe, vm().loading()->reviewGroups()[0].id);
    EXPECT_EQ(vm().review()->decisionCount(PhotoDecision::keep), 0);
    EXPECT_EQ(vm().review()->decisionCount(PhotoDecision::maybe), 1);
    EXPECT_EQ(vm().review()->classifiedCount(), 2);
    EXPECT_EQ(vm().review()->currentIndex(), 2);
    EXPECT_EQ(vm().review()->decisionCountList().value(Decision::Maybe), 1);
    const auto timeline = vm().review()->decisionTimeline();
    ASSERT_EQ(timeline.size(), 3);
    EXPECT_EQ(timeline[0], PhotoDecision::maybe);
    EXPECT_EQ(timeline[1], PhotoDecision::del);
    EXPECT_FALSE(timeline[2]);
}

TEST_F(Reviewing, feedbackTitlesAndAnnouncements)
{
    rig.decide(PhotoDecision::keep);
    ASSERT_TRUE(vm().review()->decisionFeedback());
    EXPECT_EQ(vm().review()->decisionFeedback()->title(), QStringLiteral("Behalten · JPEG + RAW · 2 Dateien"));
    EXPECT_EQ(vm().review()->accessibilityAnnouncement(), QStringLiteral("Behalten, JPEG + RAW, 2 Dateien. Nächstes Foto."));
    rig.decide(PhotoDecision::maybe);
    rig.decide(PhotoDecision::del);
    EXPECT_EQ(vm().review()->decisionFeedback()->title(), QStringLiteral("Aussortiert · 1 Datei · 1 Datei"));
    EXPECT_EQ(vm().review()->accessibilityAnnouncement(),
              QStringLiteral("Aussortiert, 1 Datei, 1 Dateien. Auswahl vollständig. Prüfliste wird geöffnet."));
    EXPECT_EQ(vm().review()->decisionFeedbackValue().decision, Decision::Delete);
}

TEST(Feedback, newerDecisionTakesOverAndOldTimerNeverClearsIt)
{
    using std::chrono::milliseconds;
    WorkflowRig rig(WorkflowRig::Persistence::none, {milliseconds(60), milliseconds(40), milliseconds(1000)});
    rig.load(shoot(rig.photoFolder, 0, 3));
    rig.startReview();
    rig.decide(PhotoDecision::keep);
    const QUuid first = rig.vm().review()->decisionFeedback()->id;
    ASSERT_TRUE(waitFor([&] { return rig.vm().review()->feedbackIsExiting(); }));

    rig.decide(PhotoDecision::maybe);
    ASSERT_TRUE(rig.vm().review()->decisionFeedback());
    EXPECT_NE(rig.vm().review()->decisionFeedback()->id, first);
    EXPECT_FALSE(rig.vm().review()->feedbackIsExiting());

    // The second overlay runs its own full course: hold, exit, then removal.
    QList<bool> exitingWhenRemoved;
    bool sawExit = false;
    QObject::connect(rig.vm().review(), &ReviewStage::feedbackIsExitingChanged, [&] {
        sawExit = sawExit || rig.vm().review()->feedbackIsExiting();
    });
    QObject::connect(rig.vm().review(), &ReviewStage::decisionFeedbackChanged, [&] {
        if (!rig.vm().review()->decisionFeedback())
            exitingWhenRemoved.append(sawExit);
    });
    ASSERT_TRUE(waitFor([&] { return !rig.vm().review()->decisionFeedback(); }));
    ASSERT_EQ(exitingWhenRemoved.size(), 1);
    EXPECT_TRUE(exitingWhenRemoved.first());
    EXPECT_FALSE(rig.vm().review()->feedbackIsExiting());
}

TEST_F(Reviewing, lastDecisionStaysOnLastGroupAndLeadsToConfirmation)
{
    rig.decide(PhotoDecision::keep);
    rig.decide(PhotoDecision::keep);
    QSignalSpy routes(&vm(), &KestravaViewModel::routeChanged);
    rig.decide(PhotoDecision::maybe);
    EXPECT_EQ(vm().review()->currentIndex(), 2);
    EXPECT_EQ(vm().route(), AppRoute::reviewing);
    ASSERT_TRUE(waitFor([&] { return vm().route() == AppRoute::confirmation; }));
    EXPECT_FALSE(vm().destructiveConfirmationAccepted());
}

TEST_F(Reviewing, redecidingADecidedGroupDoesNotOpenConfirmation)
{
    rig.decide(PhotoDecision::keep);
    rig.decide(PhotoDecision::keep);
    rig.decide(PhotoDecision::keep);
    ASSERT_TRUE(waitFor([&] { return vm().route() == AppRoute::confirmation; }));
    vm().review()->returnToReview();
    ASSERT_EQ(vm().route(), AppRoute::reviewing);
    rig.decide(PhotoDecision::del);
    QSignalSpy routes(&vm(), &KestravaViewModel::routeChanged);
    EXPECT_FALSE(routes.wait(200));
    EXPECT_EQ(vm().route(), AppRoute::reviewing);
}

TEST_F(Reviewing, decidingTheLastOpenGroupFromTheAuditListLeadsToConfirmation)
{
    rig.decide(PhotoDecision::keep);
    const QString last = vm().loading()->reviewGroups().last().id;
    const QString first = vm().loading()->reviewGroups().first().id;
    // Changing a decided group from the list leaves the review where it is.
    vm().review()->reclassify(PhotoDecision::del, first);
    QSignalSpy routes(&vm(), &KestravaViewModel::routeChanged);
    EXPECT_FALSE(routes.wait(200));
    EXPECT_EQ(vm().route(), AppRoute::reviewing);

    vm().review()->reclassify(PhotoDecision::maybe, last);
    EXPECT_FALSE(routes.wait(200)) << "one group is still open";
    vm().review()->reclassify(PhotoDecision::keep, vm().loading()->reviewGroups()[1].id);
    ASSERT_TRUE(waitFor([&] { return vm().route() == AppRoute::confirmation; }));
    EXPECT_EQ(vm().review()->classifiedCount(), vm().review()->reviewGroupCount());
}

TEST_F(Reviewing, undoWithdrawsThePendingConfirmation)
{
    rig.decide(PhotoDecision::keep);
    rig.decide(PhotoDecision::keep);
    rig.decide(PhotoDecision::keep);
    vm().review()->undoLastDecision();
    QSignalSpy routes(&vm(), &KestravaViewModel::routeChanged);
    EXPECT_FALSE(routes.wait(300));
    EXPECT_EQ(vm().route(), AppRoute::reviewing);
    EXPECT_EQ(vm().review()->classifiedCount(), 2);
    EXPECT_EQ(vm().review()->currentIndex(), 2);
    EXPECT_FALSE(vm().review()->isPreviewReady());
}

TEST_F(Reviewing, confirmationRefusesOpenGroupsAndPendingDecisions)
{
    rig.decide(PhotoDecision::keep);
    vm().review()->beginCompletionFlow();
    EXPECT_EQ(vm().alertText(), QStringLiteral("Bitte entscheide zuerst alle 2 offenen Motive."));
    EXPECT_EQ(vm().route(), AppRoute::reviewing);

    vm().review()->setPendingDecisionGroupID(vm().loading()->reviewGroups()[2].id);
    rig.decide(PhotoDecision::keep);
    rig.decide(PhotoDecision::keep);
    // What the completion delay after the last decision calls, asked at once: a wait shorter
    // than that delay would only have watched nothing happen.
    vm().review()->beginCompletionFlow();
    EXPECT_EQ(vm().route(), AppRoute::reviewing) << "a decision still pending holds the confirmation";
    vm().review()->setPendingDecisionGroupID(QString());
    vm().review()->beginCompletionFlow();
    EXPECT_EQ(vm().route(), AppRoute::confirmation);
}

TEST_F(Reviewing, undoRestoresAndEmptyHistoryStepsBack)
{
    rig.decide(PhotoDecision::keep);
    rig.decide(PhotoDecision::del);
    vm().review()->undoLastDecision();
    EXPECT_EQ(vm().review()->currentIndex(), 1);
    EXPECT_EQ(vm().review()->decisionCount(PhotoDecision::del), 0);
    EXPECT_FALSE(vm().review()->decision(vm().loading()->reviewGroups()[1]));
    vm().review()->undoLastDecision();
    EXPECT_EQ(vm().review()->currentIndex(), 0);
    EXPECT_EQ(vm().review()->classifiedCount(), 0);

    // Nothing left to take back: step back, and at the first group do nothing.
    rig.decide(PhotoDecision::maybe);
    rig.decide(PhotoDecision::maybe);
    ASSERT_EQ(vm().review()->currentIndex(), 2);
    vm().review()->undoLastDecision();
    vm().review()->undoLastDecision();
    EXPECT_EQ(vm().review()->currentIndex(), 0);
    vm().review()->undoLastDecision();
    EXPECT_EQ(vm().review()->currentIndex(), 0);
    EXPECT_EQ(vm().review()->classifiedCount(), 0);
    vm().review()->previousPhoto();
    EXPECT_EQ(vm().review()->currentIndex(), 0);
}

TEST_F(Reviewing, currentGroupCarriesItsDecisionPlaceAndFiles)
{
    CurrentGroup group = vm().review()->currentGroupValue();
    EXPECT_EQ(group.decision, -1);
    EXPECT_TRUE(group.decisionLabel.isEmpty());
    EXPECT_TRUE(group.detailText.startsWith(rig.photoFolder));
    EXPECT_TRUE(group.detailText.endsWith(QStringLiteral("  ·  2 Dateien")));
    EXPECT_EQ(vm().review()->positionText(), QStringLiteral("1 / 3"));

    rig.decide(PhotoDecision::maybe);
    EXPECT_EQ(vm().review()->positionText(), QStringLiteral("2 / 3"));
    vm().review()->previousPhoto();
    group = vm().review()->currentGroupValue();
    EXPECT_EQ(group.decision, Decision::Maybe);
    EXPECT_EQ(group.decisionLabel, vm().review()->decisionLabels().value(Decision::Maybe));
    EXPECT_EQ(vm().review()->decisionCountList(), (QList<int>{0, 1, 0}));
}

TEST_F(Reviewing, previewCandidatesStartWithThePreviewFile)
{
    const ReviewGroup& pair = vm().loading()->reviewGroups()[0];
    const QStringList candidates = vm().review()->previewCandidates();
    ASSERT_EQ(candidates.size(), 2);
    EXPECT_EQ(candidates[0], pair.previewURL.path());
    EXPECT_TRUE(candidates[0].endsWith(QStringLiteral(".JPG")));
    EXPECT_TRUE(candidates[1].endsWith(QStringLiteral(".CR3")));
    // Falling back to the RAW file's preview counts as visible.
    vm().review()->setPreviewReady(true, candidates[1]);
    EXPECT_TRUE(vm().review()->isPreviewReady());
}
