#include "workflow/DecisionTimelineLayout.h"

#include <gtest/gtest.h>

using namespace kestrava::DecisionTimelineLayout;

TEST(TimelineLayout, trackIsInsetByHalfAThumbButNeverInverted)
{
    EXPECT_EQ(trackBounds(0), std::make_pair(0.0, 0.0));
    EXPECT_EQ(trackBounds(-3), std::make_pair(0.0, 0.0));
    EXPECT_EQ(trackBounds(10), std::make_pair(5.0, 5.0));
    EXPECT_EQ(trackBounds(100), std::make_pair(7.5, 92.5));
}

TEST(TimelineLayout, thumbSitsMidSegmentAndClampsOutOfRangeIndices)
{
    EXPECT_DOUBLE_EQ(thumbPosition(0, 4, 100), 18.125);
    EXPECT_DOUBLE_EQ(thumbPosition(3, 4, 100), 7.5 + 21.25 * 3.5);
    EXPECT_DOUBLE_EQ(thumbPosition(9, 4, 100), thumbPosition(3, 4, 100));
    EXPECT_DOUBLE_EQ(thumbPosition(-2, 4, 100), 18.125);
    EXPECT_DOUBLE_EQ(thumbPosition(0, 0, 100), 50);
    EXPECT_DOUBLE_EQ(thumbPosition(0, 4, 0), 0);
}

TEST(TimelineLayout, segmentsTileTheTrackWithoutGap)
{
    EXPECT_EQ(segmentBounds(0, 0, 100), std::make_pair(7.5, 92.5));
    EXPECT_EQ(segmentBounds(0, 4, -1), std::make_pair(0.0, 0.0));
    const int count = 7;
    const double width = 333.3;
    double previousUpper = trackBounds(width).first;
    for (int i = 0; i < count; ++i) {
        const auto [lower, upper] = segmentBounds(i, count, width);
        EXPECT_DOUBLE_EQ(lower, previousUpper);
        EXPECT_GT(upper, lower);
        previousUpper = upper;
    }
    EXPECT_EQ(previousUpper, trackBounds(width).second);
    EXPECT_EQ(segmentBounds(50, count, width), segmentBounds(count - 1, count, width));
}
