#pragma once

// The decision of a photo as other programs read it: an XMP sidecar beside the photo in the
// result folder, holding `xmp:Rating` (stars for keep, -1, the editors' "rejected", for a
// reject) or `xmp:Label` "Vielleicht" for maybe.
//
// A new sidecar is the XMP packet alone (no packet wrapper, as editors write sidecars) after an
// XML declaration. A sidecar that travelled with its RAW keeps everything it says and gains the
// mark; a rating the user gave elsewhere (1 to 5 stars) stays on a keep or maybe, since the
// photographer's own stars say more than "kept". Marking is idempotent: a sidecar marked once
// comes out of a second marking byte for byte the same, which is what lets a killed run redo
// the write without telling whether it had happened.

#include "SortExecutionPlan.h"

#include "platform/FileOps.h"

#include <QByteArray>

#include <optional>

namespace kestrava::ResumableSortExecutor {

// "Vielleicht"
QString maybeLabel();

// The content of a new sidecar for `decision`.
QByteArray newRatingSidecar(PhotoDecision decision, int keepStars);

// `existing` with the mark for `decision`; nullopt when `existing` is not an XMP packet.
std::optional<QByteArray> markedRatingSidecar(const QByteArray& existing, PhotoDecision decision, int keepStars);

// `xmp:Rating` and `xmp:Label` as a sidecar holds them; nullopt when it is not an XMP packet.
struct RatingMarks {
    std::optional<QString> rating;
    std::optional<QString> label;
};
std::optional<RatingMarks> readRatingMarks(const QByteArray& packet);

// Whether the sidecar at `destination` is the one at `source` as a rating marked it; with the
// source gone (moved there), whether it carries the mark already. A travelled sidecar's copy
// differs from its original once marked, and is still the run's own result.
bool holdsMarkedSidecar(const FileUrl& source, const FileUrl& destination, PhotoDecision decision, int keepStars,
                        FileOps& ops = FileOps::system());

// Carries out a writeRating action: the sidecar at the action's destination, written through a
// hidden temporary in the same folder (flushed, then renamed into place, the folder flushed).
// A sidecar that travelled there in this run is replaced by its marked version; any other file
// at that name is never replaced: it is taken as this action's own only when it holds exactly
// the new sidecar's bytes (an earlier, killed attempt), or removed when it is the run's
// abandoned name reservation (empty, see isAbandonedReservation). Returns the sidecar's size.
// Throws ResumableSortError (ratingSidecarTaken, ratingSidecarUnreadable, ratingNotWritten),
// or FileSystemError for a full disk, so the run stops there as for a photo.
qint64 writeRatingSidecar(const PlannedAction& action, int keepStars, const FileUrl& runFolder,
                          FileOps& ops = FileOps::system());

} // namespace kestrava::ResumableSortExecutor
