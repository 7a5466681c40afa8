// The rows of the audit window against a real view model over a generated shoot: what a row
// says, how filter and search narrow the list, and that changes touch only what changed.

#include "UiRig.h"
#include "ui/AuditListModel.h"

#include <QSignalSpy>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;
using namespace Qt::StringLiterals;

namespace {

QString roleText(const AuditListModel& model, int row, AuditListModel::Role role)
{
    return model.data(model.index(row), role).toString();
}

struct AuditFixture : ::testing::Test {
    UiRig rig{8};
    AuditListModel model;

    void SetUp() override
    {
        rig.loadShoot();
        rig.configure();
        rig.startReview();
        model.setViewModel(rig.viewModel.get());
    }

    void settle()
    {
        ASSERT_TRUE(waitUntil([&] { return !rig.viewModel->review()->isCommittingDecision(); }));
    }
};

} // namespace

TEST_F(AuditFixture, rowsDescribeEachPairInReviewOrder)
{
    ASSERT_EQ(model.rowCount(), 8);
    EXPECT_EQ(model.summaryText(), u"8 Motive · 16 Dateien"_s);
    const QList<ReviewGroup> groups = rig.viewModel->review()->effectiveReviewGroups();
    for (int row = 0; row < 8; ++row) {
        EXPECT_EQ(roleText(model, row, AuditListModel::GroupIdRole), groups[row].id);
        EXPECT_EQ(roleText(model, row, AuditListModel::FormatTextRole), u"JPEG + RAW"_s);
        EXPECT_EQ(roleText(model, row, AuditListModel::FileCountTextRole), u"2 Dateien"_s);
        EXPECT_TRUE(roleText(model, row, AuditListModel::ThumbnailUrlRole).startsWith(u"image://kestrava-thumb/"_s));
        EXPECT_FALSE(roleText(model, row, AuditListModel::SizeTextRole).isEmpty());
        EXPECT_EQ(model.data(model.index(row), AuditListModel::DecisionRole).toInt(), -1);
    }
    EXPECT_EQ(model.saveStateText(), rig.viewModel->sessionStage()->savedStatusText());
}

TEST_F(AuditFixture, filterWithoutMatchesIsEmptyAndClearingItShowsAllAgain)
{
    model.setFilter(u"delete"_s);
    EXPECT_EQ(model.rowCount(), 0);
    model.setFilter(u"all"_s);
    EXPECT_EQ(model.rowCount(), 8);

    model.decide(2, PhotoDecision::del);
    settle();
    model.setFilter(u"delete"_s);
    ASSERT_EQ(model.rowCount(), 1);
    EXPECT_EQ(roleText(model, 0, AuditListModel::GroupIdRole), rig.viewModel->review()->effectiveReviewGroups()[2].id);
}

TEST_F(AuditFixture, searchMatchesAnyMemberIgnoringCase)
{
    const QList<ReviewGroup> groups = rig.viewModel->review()->effectiveReviewGroups();
    // The RAW member's extension finds its group just like the JPEG's name does.
    const QString rawName = groups[3].memberURLs.last().fileName();
    model.setSearchText(rawName.toLower());
    ASSERT_EQ(model.rowCount(), 1);
    EXPECT_EQ(roleText(model, 0, AuditListModel::GroupIdRole), groups[3].id);
    model.setSearchText(u"keine-solche-datei"_s);
    EXPECT_EQ(model.rowCount(), 0);
    model.setSearchText(QString());
    EXPECT_EQ(model.rowCount(), 8);
}

TEST_F(AuditFixture, aDecisionChangesOneRowWithoutReset)
{
    QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
    QSignalSpy changes(&model, &QAbstractItemModel::dataChanged);
    model.decide(4, PhotoDecision::maybe);
    settle();
    EXPECT_EQ(resets.count(), 0);
    bool sawDecision = false;
    for (const auto& args : changes) {
        const auto top = args.at(0).value<QModelIndex>();
        const auto roles = args.at(2).value<QList<int>>();
        if (roles.contains(AuditListModel::DecisionRole)) {
            EXPECT_EQ(top.row(), 4);
            sawDecision = true;
        }
    }
    EXPECT_TRUE(sawDecision);
    EXPECT_EQ(model.data(model.index(4), AuditListModel::DecisionRole).toInt(), int(PhotoDecision::maybe));
    EXPECT_EQ(rig.viewModel->review()->decisionCount(PhotoDecision::maybe), 1);
}

TEST_F(AuditFixture, underAFilterAChangedRowLeavesTheListAlone)
{
    model.decide(1, PhotoDecision::keep);
    settle();
    model.decide(5, PhotoDecision::keep);
    settle();
    model.setFilter(u"keep"_s);
    ASSERT_EQ(model.rowCount(), 2);
    QSignalSpy removed(&model, &QAbstractItemModel::rowsRemoved);
    QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
    model.decide(0, PhotoDecision::del);
    settle();
    EXPECT_EQ(resets.count(), 0);
    ASSERT_EQ(removed.count(), 1);
    EXPECT_EQ(model.rowCount(), 1);
    EXPECT_EQ(roleText(model, 0, AuditListModel::GroupIdRole), rig.viewModel->review()->effectiveReviewGroups()[5].id);
}

TEST_F(AuditFixture, whileAChangeIsJournaledOtherRowsAreRefused)
{
    model.decide(0, PhotoDecision::keep);
    ASSERT_TRUE(rig.viewModel->review()->isCommittingDecision()) << "the journal write should still be running";
    EXPECT_TRUE(model.controlsDisabled());
    EXPECT_TRUE(model.data(model.index(0), AuditListModel::IsSavingRole).toBool());
    EXPECT_FALSE(model.data(model.index(1), AuditListModel::IsSavingRole).toBool());
    EXPECT_EQ(model.saveStateText(), u"Änderung wird gesichert"_s);
    model.decide(1, PhotoDecision::del);
    settle();
    EXPECT_EQ(model.data(model.index(0), AuditListModel::DecisionRole).toInt(), int(PhotoDecision::keep));
    EXPECT_EQ(model.data(model.index(1), AuditListModel::DecisionRole).toInt(), -1);
    EXPECT_FALSE(model.data(model.index(0), AuditListModel::IsSavingRole).toBool());
    EXPECT_FALSE(model.controlsDisabled());
}

TEST_F(AuditFixture, showLargeReturnsTheMainReviewToThatGroup)
{
    rig.viewModel->audit()->setPresented(true);
    model.showLarge(6);
    EXPECT_EQ(rig.viewModel->review()->currentIndex(), 6);
    EXPECT_EQ(rig.viewModel->route(), AppRoute::reviewing);
}

TEST(AuditRequest, theWindowAcknowledgesEachRequestAndComesBackForTheNext)
{
    UiRig rig(2);
    QQuickWindow* window = rig.openMainWindow();
    ASSERT_NE(window, nullptr);
    window->show();
    rig.loadShoot();
    rig.configure();
    rig.startReview();

    AuditStage& audit = *rig.viewModel->audit();
    audit.request();
    ASSERT_TRUE(waitUntil([&] { return rig.auditWindow() != nullptr; }));
    EXPECT_FALSE(audit.requestID().has_value()) << "a request the window has shown stays pending";

    rig.auditWindow()->close();
    ASSERT_TRUE(waitUntil([&] { return !audit.isPresented(); }));
    audit.request();
    EXPECT_TRUE(waitUntil([&] { return rig.auditWindow() != nullptr; })) << "the window must open again";
}
