#pragma once

// The text of a progress report: what the bar and the plain lines on standard error show.

#include "execution/SortProgress.h"

#include <optional>

namespace kestrava::cli {

// "12/300 Dateien · 1,5 MB von 45 MB · 3,4 MB/s · noch 0:12": the figures of one report.
// The rate and the time left are left out while nothing has been measured.
QString describeProgress(const SortProgress& progress);
// "[#########---------------]": done bytes (files while the bytes are unknown) of the total.
QString progressBar(const SortProgress& progress);
// Seconds until `progress` is done at its current rate, or nothing without a rate.
std::optional<qint64> secondsLeft(const SortProgress& progress);
// "0:07", "12:30", "1:02:03".
QString formatDuration(qint64 seconds);

} // namespace kestrava::cli
