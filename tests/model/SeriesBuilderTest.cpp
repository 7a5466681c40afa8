#include "model/SeriesBuilder.h"

#include <gtest/gtest.h>

using namespace kestrava;
using namespace std::chrono_literals;

namespace {

const QDateTime start(QDate(2024, 6, 1), QTime(10, 0, 0));

// Entries in one folder at `offsets` milliseconds after `start`; a negative offset has no time.
QList<SeriesEntry> shots(std::initializer_list<qint64> offsets, const QString& folder = QStringLiteral("/shoot"))
{
    QList<SeriesEntry> entries;
    for (const qint64 offset : offsets)
        entries.append({FileUrl::fromLocalPath(folder), offset < 0 ? std::nullopt : std::optional(start.addMSecs(offset))});
    return entries;
}

} // namespace

TEST(Series, burstsSplitAtPausesAndEveryGroupKnowsItsPlace)
{
    const QList<SeriesEntry> entries = shots({0, 400, 900, 5000, 5500, 20000});
    const QList<Series> series = findSeries(entries);
    EXPECT_EQ(series, (QList<Series>{{0, 3}, {3, 2}}));
    EXPECT_EQ(seriesPlaces(series, entries.size()),
              (QList<SeriesPlace>{{0, 1, 3}, {0, 2, 3}, {0, 3, 3}, {1, 1, 2}, {1, 2, 2}, {}}));
    EXPECT_FALSE(seriesPlaces(series, entries.size()).last().inSeries());
}

TEST(Series, gapIsInclusiveAndMeasuredToTheMillisecond)
{
    EXPECT_EQ(findSeries(shots({0, 1000, 2000})), (QList<Series>{{0, 3}})) << "exactly the gap still belongs";
    EXPECT_TRUE(findSeries(shots({0, 1001})).isEmpty());
    // 10:00:00.100 and 10:00:01.200 are a second apart on the clock but 1.1 s in time.
    EXPECT_TRUE(findSeries(shots({100, 1200})).isEmpty());
    EXPECT_EQ(findSeries(shots({0, 2400, 4800}), 2500ms), (QList<Series>{{0, 3}}));
    // Frames without subseconds share their second; a gap of 0 keeps only those together.
    EXPECT_EQ(findSeries(shots({0, 0, 0, 1000}), 0ms), (QList<Series>{{0, 3}}));
    EXPECT_EQ(findSeries(shots({0, 0, 500}), -5s), (QList<Series>{{0, 2}}));
}

TEST(Series, missingTimeFolderChangeAndBackwardTimeEndASeries)
{
    EXPECT_EQ(findSeries(shots({0, -1, 300, 600})), (QList<Series>{{2, 2}})) << "no time, no series";
    EXPECT_TRUE(findSeries(shots({-1, -1, -1})).isEmpty());
    EXPECT_EQ(findSeries(shots({0, 500, 200, 600})), (QList<Series>{{0, 2}, {2, 2}})) << "the clock went back";

    QList<SeriesEntry> twoFolders = shots({0, 300});
    twoFolders += shots({600, 900}, QStringLiteral("/shoot/b"));
    EXPECT_EQ(findSeries(twoFolders), (QList<Series>{{0, 2}, {2, 2}}));

    // The same instant in another time representation is no step in time.
    QList<SeriesEntry> zones = shots({0});
    zones.append({FileUrl::fromLocalPath(QStringLiteral("/shoot")), start.toUTC().addMSecs(250)});
    EXPECT_EQ(findSeries(zones), (QList<Series>{{0, 2}}));
}

TEST(Series, nothingToFindInShortInputs)
{
    EXPECT_TRUE(findSeries({}).isEmpty());
    EXPECT_TRUE(findSeries(shots({0})).isEmpty());
    EXPECT_TRUE(seriesPlaces({}, 0).isEmpty());
}

TEST(Series, sharpestMemberWinsEarliestOnATieAndUnscoredNever)
{
    const Series second{3, 4};
    const QList<std::optional<float>> scores{900.f, std::nullopt, 5.f, 10.f, std::nullopt, 40.f, 40.f, 99.f};
    EXPECT_EQ(sharpestOf(second, scores), 5) << "index 0 and 7 lie outside the series";
    EXPECT_EQ(sharpestOf(Series{0, 3}, scores), 0);
    EXPECT_EQ(sharpestOf(Series{1, 1}, scores), -1);
    EXPECT_EQ(sharpestOf(Series{6, 4}, scores), 7) << "a series reaching past the scores stops at their end";
}
