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
        EXPECT_FALSE(roleText(model, row, AuditListModel::SizeTextRole).isEmpty());
        EXPECT_EQ(model.data(model.index(row), AuditListModel::DecisionRole).toInt(), -1);
    }
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

TEST_F(AuditFixture, eachFilterShowsExactlyItsRows)
{
    model.decide(1, PhotoDecision::keep);
    settle();
    model.decide(2, PhotoDecision::maybe);
    settle();
    model.decide(4, PhotoDecision::del);
    settle();
    model.decide(6, PhotoDecision::maybe);
    settle();
    const QList<ReviewGroup> groups = rig.viewModel->review()->effectiveReviewGroups();
    const auto shown = [&](AuditFilter::Value filter) {
        model.setFilter(filter);
        QList<int> indices;
        for (int row = 0; row < model.rowCount(); ++row) {
            const QString id = roleText(model, row, AuditListModel::GroupIdRole);
            for (int i = 0; i < groups.size(); ++i)
                if (groups[i].id == id)
                    indices.append(i);
        }
        return indices;
    };
    EXPECT_EQ(shown(AuditFilter::Keep), (QList<int>{1}));
    EXPECT_EQ(shown(AuditFilter::Maybe), (QList<int>{2, 6}));
    EXPECT_EQ(shown(AuditFilter::Delete), (QList<int>{4}));
    EXPECT_EQ(shown(AuditFilter::Open), (QList<int>{0, 3, 5, 7}));
    EXPECT_EQ(shown(AuditFilter::All), (QList<int>{0, 1, 2, 3, 4, 5, 6, 7}));
}

TEST_F(AuditFixture, underAFilterAChangedRowLeavesTheListAlone)
{
    model.decide(1, PhotoDecision::keep);
    settle();
    model.decide(5, PhotoDecision::keep);
    settle();
    model.setFilter(AuditFilter::Keep);
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

namespace {

// Camera capture times for the rig's eight shots in review order (both files of a shot alike;
// the rig puts four shots in each of two day folders): shots 1–3 and 5–6 are bursts a fraction
// of a second apart, the others stand alone minutes apart.
struct BurstDates : MetadataEnriching {
    static QString shotOf(const PhotoItem& photo)
    {
        const QFileInfo file(photo.sourceURL.path());
        return file.path() + u'/' + file.completeBaseName();
    }
    QFuture<QList<PhotoItem>> enrich(QList<PhotoItem> photos) override
    {
        QStringList shots;
        for (const PhotoItem& photo : std::as_const(photos))
            shots.append(shotOf(photo));
        shots.removeDuplicates();
        const qint64 offsets[] = {0, 120'000, 120'300, 120'600, 240'000, 360'000, 360'200, 480'000};
        const QDateTime start(QDate(2026, 6, 1), QTime(9, 0), Qt::UTC);
        for (PhotoItem& photo : photos) {
            const qsizetype shot = shots.indexOf(shotOf(photo));
            if (shot >= qsizetype(std::size(offsets)))
                continue;
            photo.captureDate = start.addMSecs(offsets[shot]);
            photo.captureDateOrigin = CaptureDateOrigin::exif;
        }
        return QtFuture::makeReadyFuture(photos);
    }
};

} // namespace

TEST(AuditSeriesFilter, listsEachBurstAsOneBlockInReviewOrder)
{
    UiRig rig(8, true, std::make_shared<BurstDates>());
    rig.loadShoot();
    rig.configure();
    rig.startReview();
    ASSERT_TRUE(waitUntil([&] { return rig.viewModel->series()->series().size() == 2; }));
    AuditListModel model;
    model.setViewModel(rig.viewModel.get());
    // A decision inside a burst keeps its row there: the filter is about bursts, not decisions.
    model.decide(2, PhotoDecision::del);
    ASSERT_TRUE(waitUntil([&] { return !rig.viewModel->review()->isCommittingDecision(); }));

    model.setFilter(AuditFilter::Series);
    const QList<ReviewGroup> groups = rig.viewModel->review()->effectiveReviewGroups();
    const QList<int> expected{1, 2, 3, 5, 6};
    ASSERT_EQ(model.rowCount(), expected.size());
    const QStringList positions{u"Serie 1 von 3"_s, u"Serie 2 von 3"_s, u"Serie 3 von 3"_s, u"Serie 1 von 2"_s,
                                u"Serie 2 von 2"_s};
    for (int row = 0; row < model.rowCount(); ++row) {
        EXPECT_EQ(roleText(model, row, AuditListModel::GroupIdRole), groups[expected[row]].id) << row;
        EXPECT_EQ(roleText(model, row, AuditListModel::SeriesTextRole), positions[row]) << row;
    }
    EXPECT_EQ(model.data(model.index(1), AuditListModel::DecisionRole).toInt(), int(PhotoDecision::del));

    // A burst that falls apart with a shorter gap leaves the filter.
    rig.viewModel->series()->setGapMilliseconds(250);
    ASSERT_EQ(model.rowCount(), 2);
    EXPECT_EQ(roleText(model, 0, AuditListModel::GroupIdRole), groups[5].id);
    EXPECT_EQ(roleText(model, 1, AuditListModel::GroupIdRole), groups[6].id);
}
