// Two frames side by side: which groups the panes show and where decisions go.

#include "WorkflowRig.h"

#include <QFileInfo>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

struct Comparing : ::testing::Test {
    void SetUp() override
    {
        rig.load(shoot(rig.photoFolder, 0, 6));
        rig.startReview();
    }
    CompareStage& compare() { return *rig.vm().compare(); }
    // What the screen reports once the candidate's picture is visible.
    void showCandidate() { compare().setCandidateShown(compare().candidatePath()); }
    ReviewStage& review() { return *rig.vm().review(); }
    std::optional<PhotoDecision> decisionOf(int group) { return review().decision(rig.vm().loading()->reviewGroups()[group]); }

    WorkflowRig rig;
};

} // namespace

TEST_F(Comparing, decisionsGoToTheCandidateWhichSkipsDecidedGroups)
{
    // Groups 1 and 3 are decided before the comparison starts on group 0.
    rig.decide(PhotoDecision::keep);
    rig.decide(PhotoDecision::maybe);
    review().previousPhoto();
    rig.markPreviewVisible();
    rig.decide(PhotoDecision::keep);        // group 1
    rig.decide(PhotoDecision::del);         // group 2
    review().undoLastDecision();            // group 2 open again
    rig.settle();
    review().showGroupInMainReview(rig.vm().loading()->reviewGroups()[0].id);
    ASSERT_TRUE(compare().open());
    EXPECT_EQ(compare().referenceIndex(), 0);
    EXPECT_EQ(compare().candidateIndex(), 2);
    EXPECT_EQ(compare().nextCandidates(compare().candidateIndex(), 2), QList<int>({3, 4}));

    // Nothing is decided on a frame the user has not seen yet.
    EXPECT_FALSE(compare().decide(PhotoDecision::del));
    EXPECT_FALSE(decisionOf(2));
    showCandidate();
    ASSERT_TRUE(compare().decide(PhotoDecision::del));
    rig.settle();
    EXPECT_EQ(decisionOf(2), PhotoDecision::del);
    EXPECT_EQ(compare().candidateIndex(), 3);
    EXPECT_EQ(compare().referenceIndex(), 0);
    EXPECT_EQ(decisionOf(0), PhotoDecision::keep); // the reference is never decided by the keys

    // Written like any decision: a restarted process finds it.
    rig.restart();
    ASSERT_TRUE(waitFor([&] { return rig.vm().sessionStage()->hasResumableSession(); }));
    rig.vm().sessionStage()->resumeSavedSession();
    EXPECT_EQ(decisionOf(2), PhotoDecision::del);
}

TEST_F(Comparing, theCandidateBecomesTheReferenceAndEscapeCloses)
{
    ASSERT_TRUE(compare().open());
    ASSERT_EQ(compare().candidateIndex(), 1);
    compare().takeCandidateAsReference();
    EXPECT_EQ(compare().referenceIndex(), 1);
    EXPECT_EQ(compare().candidateIndex(), 2);
    EXPECT_EQ(compare().referencePath(), rig.vm().loading()->reviewGroups()[1].previewURL.path());
    // The captions and the top line follow the frames, never the group behind them.
    const auto shotName = [&](int group) {
        return QFileInfo(rig.vm().loading()->reviewGroups()[group].previewURL.fileName()).completeBaseName();
    };
    EXPECT_TRUE(compare().referenceCaption().endsWith(shotName(1)));
    EXPECT_TRUE(compare().candidateCaption().endsWith(shotName(2)));
    EXPECT_EQ(compare().candidateFileName(), rig.vm().loading()->reviewGroups()[2].previewURL.fileName());
    EXPECT_EQ(compare().candidatePositionText(), QStringLiteral("3 / 6"));
    compare().close();
    EXPECT_FALSE(compare().active());
    EXPECT_TRUE(compare().candidateCaption().isEmpty());
    EXPECT_TRUE(compare().candidatePositionText().isEmpty());
    EXPECT_EQ(review().classifiedCount(), 0);
}

TEST_F(Comparing, closesWhenNoOpenGroupIsLeft)
{
    for (int i = 0; i < 5; ++i)
        rig.decide(PhotoDecision::keep);
    ASSERT_EQ(review().currentIndex(), 5);
    EXPECT_FALSE(compare().open());
    EXPECT_EQ(rig.vm().alertText(), CompareStage::nothingToCompareWording());

    rig.vm().dismissAlert();
    // From a decided group the only open one, the last, is the candidate.
    review().showGroupInMainReview(rig.vm().loading()->reviewGroups()[3].id);
    ASSERT_TRUE(compare().open());
    EXPECT_EQ(compare().candidateIndex(), 5);
    showCandidate();
    ASSERT_TRUE(compare().decide(PhotoDecision::maybe));
    EXPECT_FALSE(compare().active()); // the last open frame decided: back to the single view
}

TEST_F(Comparing, undoTakesBackTheComparisonsLastDecisionWithoutMovingTheSingleView)
{
    rig.markPreviewVisible();
    ASSERT_TRUE(compare().open());
    showCandidate();
    ASSERT_TRUE(compare().decide(PhotoDecision::keep)); // group 1
    rig.settle();
    showCandidate();
    ASSERT_TRUE(compare().decide(PhotoDecision::del));  // group 2
    rig.settle();
    ASSERT_EQ(compare().candidateIndex(), 3);

    ASSERT_TRUE(compare().undo());
    rig.settle();
    EXPECT_FALSE(decisionOf(2));
    EXPECT_EQ(decisionOf(1), PhotoDecision::keep);
    EXPECT_EQ(compare().candidateIndex(), 2);
    EXPECT_EQ(review().currentIndex(), 0);
    EXPECT_TRUE(compare().active());
    // The group came back: its picture must be on screen again before a key decides it.
    EXPECT_FALSE(compare().decide(PhotoDecision::maybe));
    EXPECT_FALSE(decisionOf(2));

    // Journaled like any undo: the restarted process finds the same state and position.
    rig.restart();
    ASSERT_TRUE(waitFor([&] { return rig.vm().sessionStage()->hasResumableSession(); }));
    rig.vm().sessionStage()->resumeSavedSession();
    EXPECT_FALSE(decisionOf(2));
    EXPECT_EQ(decisionOf(1), PhotoDecision::keep);
    EXPECT_EQ(review().currentIndex(), 0);
}

TEST_F(Comparing, undoLeavesDecisionsMadeBeforeTheComparisonAlone)
{
    rig.decide(PhotoDecision::keep); // group 0, in the single view
    ASSERT_TRUE(compare().open());
    EXPECT_FALSE(compare().undo());
    rig.settle();
    EXPECT_EQ(decisionOf(0), PhotoDecision::keep);
    EXPECT_EQ(review().currentIndex(), 1);
    EXPECT_EQ(rig.vm().alertText(), CompareStage::nothingToUndoWording());

    // The series key's batch is not the comparison's either, even after one of its own.
    showCandidate();
    ASSERT_TRUE(compare().decide(PhotoDecision::maybe)); // group 2
    rig.settle();
    ASSERT_TRUE(review().decideGroups(std::nullopt, {4}, review().currentIndex()));
    rig.settle();
    EXPECT_FALSE(compare().undo());
    EXPECT_EQ(decisionOf(2), PhotoDecision::maybe);
    EXPECT_EQ(decisionOf(4), PhotoDecision::del);
}
