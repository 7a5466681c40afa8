#pragma once

// The writeRating actions of a plan: which sidecar each photo in the result gets, and which
// photos share one.

#include "SortExecutionPlan.h"

#include <optional>

namespace kestrava::ResumableSortExecutor {

// The stars of a kept photo when the plan writes rating sidecars, else nullopt: those of the
// options, or, when an earlier run promised sidecars, those its records carry.
std::optional<int> plannedKeepStars(const SortOptions& options, const QMap<QString, ExecutionRecord>& existingRecords);

// "<photo's name without extension>.xmp" beside the photo.
FileUrl ratingSidecarBeside(const FileUrl& photoDestination);

// Puts one writeRating action per sidecar name in front of the actions of `plan`, whose copy
// and move actions are complete (photos and the sidecars travelling with them). In front, so
// that journaling the plan in its order records the promise of sidecars first: a run killed
// while its plan is journaled resumes with them, even when the option is not known then.
void prependRatingActions(SortExecutionPlan& plan, int keepStars, const QMap<QString, ExecutionRecord>& existingRecords);

} // namespace kestrava::ResumableSortExecutor
