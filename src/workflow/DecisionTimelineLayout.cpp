#include "DecisionTimelineLayout.h"

#include <algorithm>

namespace kestrava::DecisionTimelineLayout {

namespace {

int clampedIndex(int index, int count)
{
    return index < 1 ? 0 : std::min(count - 1, index);
}

} // namespace

std::pair<double, double> trackBounds(double width)
{
    if (width <= 0)
        return {0, 0};
    const double start = std::min(width / 2, thumbDiameter / 2);
    return {start, std::max(width - start, start)};
}

double thumbPosition(int index, int count, double width)
{
    if (width <= 0)
        return 0;
    if (count < 1)
        return width / 2;
    const auto [start, end] = trackBounds(width);
    const double segment = (end - start) / count;
    return start + segment * (clampedIndex(index, count) + 0.5);
}

std::pair<double, double> segmentBounds(int index, int count, double width)
{
    if (width <= 0)
        return {0, 0};
    const auto [start, end] = trackBounds(width);
    if (count < 1)
        return {start, end};
    const double segment = (end - start) / count;
    const int k = clampedIndex(index, count);
    const double lower = start + segment * k;
    // The last segment takes the exact end so accumulated rounding never leaves a gap.
    return {lower, k == count - 1 ? end : lower + segment};
}

} // namespace kestrava::DecisionTimelineLayout
