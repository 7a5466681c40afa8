// Bursts in the review: series of the current groups, the sharpest of each, and when scoring
// may start.

#include "WorkflowRig.h"

#include <QPromise>
#include <gtest/gtest.h>

#include <memory>

using namespace kestrava;
using namespace kestrava::test;

namespace {

// Six lone JPEGs: three frames within a second, one ten seconds later, then two more within
// a second. Groups 0–2 and 4–5 are series.
QList<PhotoItem> burstShoot(const QString& folder)
{
    QList<PhotoItem> items = photosNamed(folder, {QStringLiteral("A1.JPG"), QStringLiteral("A2.JPG"), QStringLiteral("A3.JPG"),
                                                  QStringLiteral("B1.JPG"), QStringLiteral("C1.JPG"), QStringLiteral("C2.JPG")});
    const QDateTime start(QDate(2026, 5, 2), QTime(14, 0), Qt::UTC);
    const qint64 offsets[] = {0, 400, 900, 10'000, 20'000, 20'300};
    for (qsizetype i = 0; i < items.size(); ++i) {
        items[i].captureDate = start.addMSecs(offsets[i]);
        items[i].captureDateOrigin = CaptureDateOrigin::exif;
    }
    return items;
}

// Four lone JPEGs 0.4 s, 1.1 s and 0.7 s apart: two series at the default gap of 1 s, one
// pair at 0.5 s, one series of four at 2 s.
QList<PhotoItem> unevenShoot(const QString& folder)
{
    QList<PhotoItem> items = photosNamed(folder, {QStringLiteral("D1.JPG"), QStringLiteral("D2.JPG"),
                                                  QStringLiteral("D3.JPG"), QStringLiteral("D4.JPG")});
    const QDateTime start(QDate(2026, 5, 2), QTime(15, 0), Qt::UTC);
    const qint64 offsets[] = {0, 400, 1500, 2200};
    for (qsizetype i = 0; i < items.size(); ++i) {
        items[i].captureDate = start.addMSecs(offsets[i]);
        items[i].captureDateOrigin = CaptureDateOrigin::exif;
    }
    return items;
}

// Answers scores when the test says so, and records the order they were asked for.
struct ManualScorer {
    QStringList asked;
    QHash<QString, std::shared_ptr<QPromise<std::optional<float>>>> open;

    SeriesStage::Scorer scorer()
    {
        return [this](const FileUrl& file) {
            auto promise = std::make_shared<QPromise<std::optional<float>>>();
            promise->start();
            asked.append(file.fileName());
            open.insert(file.fileName(), promise);
            return promise->future();
        };
    }
    void answer(const QString& name, std::optional<float> score)
    {
        auto promise = open.take(name);
        ASSERT_TRUE(promise) << name.toStdString();
        promise->addResult(score);
        promise->finish();
    }
};

struct SeriesReview : ::testing::Test {
    void SetUp() override
    {
        rig.load(burstShoot(rig.photoFolder));
        series().setScorer(scores.scorer());
        rig.startReview();
    }
    KestravaViewModel& vm() { return rig.vm(); }
    SeriesStage& series() { return *vm().series(); }
    // Lets the continuations of answered scores run.
    void deliver() { QCoreApplication::processEvents(); }

    WorkflowRig rig{WorkflowRig::Persistence::none};
    ManualScorer scores;
};

} // namespace

TEST_F(SeriesReview, placesTheCurrentGroupInItsSeries)
{
    EXPECT_EQ(series().seriesStarts(), QList<int>({0, 4}));
    EXPECT_EQ(series().positionText(), QStringLiteral("Serie 1 von 3"));
    rig.decide(PhotoDecision::keep);
    EXPECT_EQ(series().positionText(), QStringLiteral("Serie 2 von 3"));
    rig.decide(PhotoDecision::keep);
    rig.decide(PhotoDecision::keep);
    ASSERT_EQ(vm().review()->currentIndex(), 3);
    EXPECT_TRUE(series().positionText().isEmpty());
    rig.decide(PhotoDecision::keep);
    EXPECT_EQ(series().positionText(), QStringLiteral("Serie 1 von 2"));
}

TEST_F(SeriesReview, scoringWaitsForTheFirstPictureAndStartsNearTheCurrentGroup)
{
    EXPECT_TRUE(scores.asked.isEmpty()) << "scores were asked for before anything was on screen";
    rig.markPreviewVisible();
    ASSERT_EQ(scores.asked.size(), 6);
    EXPECT_EQ(scores.asked.first(), QStringLiteral("A1.JPG"));
    EXPECT_EQ(scores.asked[1], QStringLiteral("A2.JPG"));
    // Each preview is measured once, however often the picture is reported.
    vm().review()->setPreviewReady(false, {});
    rig.markPreviewVisible();
    EXPECT_EQ(scores.asked.size(), 6);
}

TEST_F(SeriesReview, sharpestMarkFollowsTheScores)
{
    rig.markPreviewVisible();
    EXPECT_EQ(series().sharpestInSeriesOf(0), -1);
    EXPECT_TRUE(series().sharpestText().isEmpty());
    EXPECT_TRUE(series().scoreText().isEmpty());

    scores.answer(QStringLiteral("A2.JPG"), 40.f);
    deliver();
    EXPECT_EQ(series().sharpestInSeriesOf(0), 1);
    scores.answer(QStringLiteral("A1.JPG"), 120.f);
    scores.answer(QStringLiteral("A3.JPG"), std::nullopt);
    deliver();
    EXPECT_TRUE(series().isSharpest(0));
    EXPECT_FALSE(series().isSharpest(1));
    EXPECT_EQ(series().sharpestText(), QStringLiteral("Schärfste Aufnahme der Serie"));
    EXPECT_EQ(series().scoreText(), QStringLiteral("120"));

    // A group outside every series is never the sharpest of one, whatever its score.
    scores.answer(QStringLiteral("B1.JPG"), 900.f);
    deliver();
    EXPECT_FALSE(series().isSharpest(3));
    // The other series is judged on its own members.
    scores.answer(QStringLiteral("C2.JPG"), 1.f);
    deliver();
    EXPECT_TRUE(series().isSharpest(5));
}

namespace {

// The same shoot with its decisions journaled, the first series scored.
struct JournaledSeries : ::testing::Test {
    void SetUp() override
    {
        rig.load(burstShoot(rig.photoFolder));
        series().setScorer(scores.scorer());
        rig.startReview();
        rig.markPreviewVisible();
    }
    SeriesStage& series() { return *rig.vm().series(); }
    ReviewStage& review() { return *rig.vm().review(); }
    std::optional<PhotoDecision> decisionOf(int group) { return review().decision(rig.vm().loading()->reviewGroups()[group]); }
    void scoreFirstSeries()
    {
        scores.answer(QStringLiteral("A1.JPG"), 10.f);
        scores.answer(QStringLiteral("A2.JPG"), 80.f);
        scores.answer(QStringLiteral("A3.JPG"), 30.f);
        QCoreApplication::processEvents();
    }

    WorkflowRig rig;
    ManualScorer scores;
};

} // namespace

TEST_F(JournaledSeries, waitsForEveryScoreOfTheSeries)
{
    scores.answer(QStringLiteral("A1.JPG"), 10.f);
    scores.answer(QStringLiteral("A2.JPG"), 80.f);
    QCoreApplication::processEvents();
    EXPECT_FALSE(series().decideSeries());
    EXPECT_EQ(rig.vm().alertText(), SeriesStage::stillMeasuringWording());
    EXPECT_EQ(review().classifiedCount(), 0);
    EXPECT_TRUE(review().history().isEmpty());
}

TEST_F(JournaledSeries, keepsTheSharpestRejectsTheOpenRestAndSurvivesARestart)
{
    // The user already judged the first frame: the series action leaves it alone.
    rig.decide(PhotoDecision::maybe);
    ASSERT_EQ(review().currentIndex(), 1);
    scoreFirstSeries();
    rig.markPreviewVisible();
    ASSERT_TRUE(series().decideSeries());
    rig.settle();
    EXPECT_EQ(decisionOf(0), PhotoDecision::maybe);
    EXPECT_EQ(decisionOf(1), PhotoDecision::keep);
    EXPECT_EQ(decisionOf(2), PhotoDecision::del);
    EXPECT_EQ(review().currentIndex(), 3); // the first group after the series

    rig.restart();
    ASSERT_TRUE(waitFor([&] { return rig.vm().sessionStage()->hasResumableSession(); }));
    rig.vm().sessionStage()->resumeSavedSession();
    EXPECT_EQ(decisionOf(0), PhotoDecision::maybe);
    EXPECT_EQ(decisionOf(1), PhotoDecision::keep);
    EXPECT_EQ(decisionOf(2), PhotoDecision::del);
}

TEST_F(JournaledSeries, oneUndoTakesTheWholeSeriesBack)
{
    rig.decide(PhotoDecision::keep); // the single decision before stays
    scoreFirstSeries();
    rig.markPreviewVisible();
    ASSERT_TRUE(series().decideSeries());
    rig.settle();
    ASSERT_EQ(review().classifiedCount(), 3);

    review().undoLastDecision();
    rig.settle();
    EXPECT_EQ(decisionOf(0), PhotoDecision::keep);
    EXPECT_FALSE(decisionOf(1));
    EXPECT_FALSE(decisionOf(2));
    EXPECT_EQ(review().currentIndex(), 1);
    EXPECT_EQ(review().history().size(), 1);

    // The restored state is what the journal replays to.
    rig.restart();
    ASSERT_TRUE(waitFor([&] { return rig.vm().sessionStage()->hasResumableSession(); }));
    rig.vm().sessionStage()->resumeSavedSession();
    EXPECT_EQ(decisionOf(0), PhotoDecision::keep);
    EXPECT_FALSE(decisionOf(1));
    EXPECT_FALSE(decisionOf(2));
}

TEST_F(JournaledSeries, outsideASeriesNothingIsDecided)
{
    rig.decide(PhotoDecision::keep);
    rig.decide(PhotoDecision::keep);
    rig.decide(PhotoDecision::keep);
    rig.markPreviewVisible();
    EXPECT_FALSE(series().decideSeries());
    EXPECT_EQ(rig.vm().alertText(), SeriesStage::notInSeriesWording());
    EXPECT_EQ(review().classifiedCount(), 3);
}

TEST(SeriesGap, theChosenGapShapesTheSeriesAndTravelsWithTheSession)
{
    WorkflowRig rig;
    rig.load(unevenShoot(rig.photoFolder));
    rig.startReview();
    SeriesStage* series = rig.vm().series();
    EXPECT_EQ(series->gapMilliseconds(), 1000);
    EXPECT_EQ(series->series(), QList<Series>({{0, 2}, {2, 2}}));

    series->setGapMilliseconds(500);
    EXPECT_EQ(series->series(), QList<Series>({{0, 2}}));
    EXPECT_FALSE(series->placeOf(2).inSeries());
    series->setGapMilliseconds(2000);
    EXPECT_EQ(series->series(), QList<Series>({{0, 4}}));
    EXPECT_EQ(series->positionTextFor(3), QStringLiteral("Serie 4 von 4"));
    rig.settle();

    rig.restart();
    ASSERT_TRUE(waitFor([&] { return rig.vm().sessionStage()->hasResumableSession(); }));
    rig.vm().sessionStage()->resumeSavedSession();
    series = rig.vm().series();
    EXPECT_EQ(series->gapMilliseconds(), 2000);
    EXPECT_EQ(series->series(), QList<Series>({{0, 4}}));
}

TEST(SeriesGap, aDocumentWithoutTheGapOpensWithTheDefault)
{
    WorkflowRig rig;
    rig.load(unevenShoot(rig.photoFolder));
    rig.startReview();
    rig.vm().series()->setGapMilliseconds(2000);
    rig.settle();
    const std::optional<SortSession> saved = rig.vm().makeSessionSnapshot();
    ASSERT_TRUE(saved);
    QJsonObject document = toJson(*saved);
    ASSERT_EQ(document.value(QStringLiteral("seriesGapMilliseconds")).toInt(), 2000);
    EXPECT_EQ(decodeSortSession(encodeSortSession(*saved)).seriesGapMilliseconds, 2000);

    document.remove(QStringLiteral("seriesGapMilliseconds"));
    const SortSession older = sortSessionFromJson(document);
    EXPECT_EQ(older.seriesGapMilliseconds, 1000);
    ASSERT_TRUE(rig.vm().apply(older));
    EXPECT_EQ(rig.vm().series()->gapMilliseconds(), 1000);
    EXPECT_EQ(rig.vm().series()->series(), QList<Series>({{0, 2}, {2, 2}}));

    // A gap nobody could have chosen means the document was damaged.
    document.insert(QStringLiteral("seriesGapMilliseconds"), 0);
    EXPECT_THROW(sortSessionFromJson(document), DecodingError);
}
