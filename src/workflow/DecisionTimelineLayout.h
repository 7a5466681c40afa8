#pragma once

// Geometry of the decision timeline under the photo: one segment per review group across the
// available width and a round thumb centred on the current group's segment. Pure; the drawing
// belongs to the screen.

#include <utility>

namespace kestrava::DecisionTimelineLayout {

inline constexpr double thumbDiameter = 15.0;

// (start, end) of the track: inset by half a thumb so the thumb never leaves the view;
// (0, 0) for a width of 0 or less.
std::pair<double, double> trackBounds(double width);

// Centre of the thumb for `index` among `count` groups; indices outside the range are drawn
// on the first or last segment. width/2 when there are no groups, 0 for no width.
double thumbPosition(int index, int count, double width);

// (lower, upper) of the segment of `index`; the last segment ends exactly at the track's end.
std::pair<double, double> segmentBounds(int index, int count, double width);

} // namespace kestrava::DecisionTimelineLayout
