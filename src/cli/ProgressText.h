#pragma once

// The text of a progress report: what the bar and the plain lines on standard error show.

#include "execution/SortProgress.h"

#include <optional>

namespace kestrava::cli {

// "12/300 Dateien · 1,5 MB von 45 MB · 3,4 MB/s · noch 0:12": the figures of one report.
// The rate and the time left are left out while nothing has been measured, and the time left
// once the run has ended (a failed file's bytes never arrive).
QString describeProgress(const SortProgress& progress);
// The heading of a report: the phase's German label, except that a run which ended without
// finishing everything (`result` failed, stopped or left files pending) never claims "Fertig".
QString phaseHeading(const SortProgress& progress, const SortResult* result);
// "[#########---------------]": done bytes (files while the bytes are unknown) of the total.
QString progressBar(const SortProgress& progress);
// Seconds until `progress` is done at its current rate, or nothing without a rate.
std::optional<qint64> secondsLeft(const SortProgress& progress);
// "0:07", "12:30", "1:02:03".
QString formatDuration(qint64 seconds);

} // namespace kestrava::cli
