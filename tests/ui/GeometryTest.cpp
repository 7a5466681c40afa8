// What the timeline draws and where the stage puts the picture.

#include "ui/DecisionTimelineItem.h"
#include "ui/PreviewStageItem.h"

#include <gtest/gtest.h>

using namespace kestrava;
using Decisions = QList<std::optional<PhotoDecision>>;

TEST(TimelineRuns, equalNeighboursShareOneRectangleWhenSegmentsAreThin)
{
    Decisions decisions(1000, std::nullopt);
    for (int i = 0; i < 300; ++i)
        decisions[i] = PhotoDecision::keep;
    for (int i = 500; i < 520; ++i)
        decisions[i] = PhotoDecision::del;
    decisions[700] = PhotoDecision::maybe; // alone in its pixel column: outvoted
    const auto runs = DecisionTimelineItem::runs(decisions, 400);
    ASSERT_EQ(runs.size(), 4); // keep, open, delete, open
    EXPECT_DOUBLE_EQ(runs.first().lower, 7.5);
    EXPECT_DOUBLE_EQ(runs.last().upper, 392.5); // the last segment ends exactly at the track's end
    for (qsizetype i = 1; i < runs.size(); ++i)
        EXPECT_DOUBLE_EQ(runs[i].lower, runs[i - 1].upper); // no gaps, no overlaps
    EXPECT_EQ(runs[2].decision, PhotoDecision::del);
}

TEST(TimelineRuns, neverMoreRectanglesThanPixels)
{
    Decisions alternating;
    for (int i = 0; i < 20000; ++i)
        alternating.append(PhotoDecision(i % 3));
    const auto runs = DecisionTimelineItem::runs(alternating, 1200);
    EXPECT_LE(runs.size(), 1185);
    EXPECT_DOUBLE_EQ(runs.last().upper, 1192.5);
}

TEST(TimelineRuns, wideSegmentsAreDrawnSeparately)
{
    const Decisions decisions{PhotoDecision::keep, PhotoDecision::keep, std::nullopt, PhotoDecision::maybe};
    const auto runs = DecisionTimelineItem::runs(decisions, 100);
    ASSERT_EQ(runs.size(), 4);
    // 85 points for 4 groups: a hairline between segments, none after the last.
    EXPECT_DOUBLE_EQ(runs[0].lower, 7.5);
    EXPECT_DOUBLE_EQ(runs[0].upper, 7.5 + 21.25 - 1);
    EXPECT_DOUBLE_EQ(runs[3].upper, 92.5);
}

TEST(TimelineRuns, nothingToDrawWithoutGroupsOrWidth)
{
    EXPECT_TRUE(DecisionTimelineItem::runs({}, 100).isEmpty());
    EXPECT_TRUE(DecisionTimelineItem::runs(Decisions{PhotoDecision::keep}, 0).isEmpty());
}

TEST(TimelineSeries, bandsSpanTheirGroupsAndStayApart)
{
    // 85 points for 4 groups: series 0–1 and 2–3 side by side keep a hairline between them.
    const auto wide = DecisionTimelineItem::seriesSpans({{0, 2}, {2, 2}}, 4, 100);
    ASSERT_EQ(wide.size(), 2);
    EXPECT_DOUBLE_EQ(wide[0].first, 7.5);
    EXPECT_DOUBLE_EQ(wide[0].second, 7.5 + 2 * 21.25 - 1);
    EXPECT_DOUBLE_EQ(wide[1].second, 92.5);
    // With far more groups than pixels a burst of two still shows.
    const auto thin = DecisionTimelineItem::seriesSpans({{10'000, 2}}, 20'000, 400);
    ASSERT_EQ(thin.size(), 1);
    EXPECT_GE(thin[0].second - thin[0].first, 1.0);
    // A series left over from an earlier, longer list of groups is not drawn.
    EXPECT_TRUE(DecisionTimelineItem::seriesSpans({{3, 2}}, 4, 100).isEmpty());
}

TEST(TimelineItem, thumbAndHitTestingFollowTheLayout)
{
    DecisionTimelineItem item;
    item.setSize(QSizeF(100, 8));
    item.setDecisions(Decisions(4, std::nullopt), 0);
    EXPECT_DOUBLE_EQ(item.thumbX(), 18.125);
    item.setDecisions(Decisions(4, std::nullopt), 9);
    EXPECT_DOUBLE_EQ(item.thumbX(), 7.5 + 21.25 * 3.5); // beyond the end: on the last segment
    EXPECT_EQ(item.indexAt(0), 0);
    EXPECT_EQ(item.indexAt(50), 2);
    EXPECT_EQ(item.indexAt(1000), 3);
}

TEST(PreviewStage, fitsAndClampsThePicture)
{
    EXPECT_DOUBLE_EQ(PreviewStageItem::fitScale(QSizeF(1000, 500), QSizeF(2000, 2000)), 0.25);
    EXPECT_DOUBLE_EQ(PreviewStageItem::fitScale(QSizeF(1000, 500), QSizeF(500, 100)), 2.0);
    // A smaller picture is centred; a larger one may not leave a gap at either edge.
    EXPECT_EQ(PreviewStageItem::clampOffset(QPointF(50, 50), QSizeF(1000, 500), QSizeF(400, 200)), QPointF(300, 150));
    EXPECT_EQ(PreviewStageItem::clampOffset(QPointF(20, -5000), QSizeF(1000, 500), QSizeF(2000, 1000)), QPointF(0, -500));
}

TEST(PreviewStage, partnersZoomOnTheSameSpotAndPanTogetherUpToTheirEdges)
{
    // Two panes of different sizes, as when the window is not split evenly.
    PreviewStageItem left;
    PreviewStageItem right;
    left.setSize(QSizeF(1000, 500));
    right.setSize(QSizeF(800, 600));
    QImage picture(2000, 1000, QImage::Format_RGB32);
    picture.fill(Qt::gray);
    left.setImage(picture);
    right.setImage(picture);
    left.setPartner(&right);
    right.setPartner(&left);

    // Picture pixel (1500, 250) is under the pointer in the left pane; the right pane puts the
    // same pixel where its own fitted picture showed it, (600, 200).
    const QPointF pixel(1500, 250);
    left.toggleZoom(QPointF(750, 125));
    ASSERT_TRUE(left.zoomed() && right.zoomed());
    EXPECT_EQ(left.imageRect().topLeft() + pixel, QPointF(750, 125));
    EXPECT_EQ(right.imageRect().topLeft() + pixel, QPointF(600, 200));

    left.panBy(300, 100);
    EXPECT_EQ(left.imageRect().topLeft(), QPointF(-450, -25));
    EXPECT_EQ(right.imageRect().topLeft(), QPointF(-600, 0)) << "moved by as much, and stopped at its own top edge";

    left.toggleZoom(QPointF(0, 0));
    EXPECT_FALSE(left.zoomed() || right.zoomed());
}

TEST(PreviewStage, zoomKeepsThePointedPixelInPlaceAndResetsForTheNextPhoto)
{
    PreviewStageItem stage;
    stage.setSize(QSizeF(1000, 500));
    QImage picture(2000, 1000, QImage::Format_RGB32);
    picture.fill(Qt::gray);
    stage.setImage(picture);
    EXPECT_FALSE(stage.zoomed());
    EXPECT_EQ(stage.imageRect(), QRectF(0, 0, 1000, 500));

    const QPointF pointer(750, 125); // picture pixel (1500, 250)
    stage.toggleZoom(pointer);
    ASSERT_TRUE(stage.zoomed());
    const QRectF zoomed = stage.imageRect();
    EXPECT_EQ(zoomed.size(), QSizeF(2000, 1000));
    EXPECT_EQ(zoomed.topLeft() + QPointF(1500, 250), pointer);

    stage.panBy(-10000, 0); // dragging far stops at the picture's edge
    EXPECT_DOUBLE_EQ(stage.imageRect().left(), -1000);

    QImage next(2000, 1000, QImage::Format_RGB32);
    next.fill(Qt::black);
    stage.setImage(next);
    EXPECT_FALSE(stage.zoomed());
}
