#pragma once

// The execution plan: one action per file with its final destination, fixed before the
// first byte moves, so that an interrupted run resumes with the same names.

#include "model/DestinationPlanner.h"
#include "model/PhotoModel.h"
#include "model/SortOptions.h"
#include "session/SortSession.h"
#include "trash/TrashTypes.h"

#include <QList>
#include <QMap>
#include <QSet>

#include <functional>
#include <optional>

namespace kestrava {

// writeRating: the XMP sidecar carrying a photo's decision for other programs, written beside
// the photo in the result folder once the photo is there (see RatingSidecar.h).
enum class PlannedActionKind { copy, move, writeRating };
template <>
struct EnumNames<PlannedActionKind> {
    static constexpr std::array<std::pair<PlannedActionKind, std::string_view>, 3> table{{
        {PlannedActionKind::copy, "copy"}, {PlannedActionKind::move, "move"},
        {PlannedActionKind::writeRating, "writeRating"}}};
};

struct PlannedAction {
    QString id;             // the source path (writeRating: its ratingRecordKey): unique within a plan
    PhotoItem item;         // writeRating: the photo, with the decision the sidecar carries
    FileUrl destinationURL;
    PlannedActionKind kind = PlannedActionKind::copy;
    // Already done by an earlier run, or possibly done (a crash between the rename into place
    // and the journal line): the executor validates what is at the destination instead of
    // executing the action again.
    bool shouldSkip = false;
    // writeRating only. The actions (by id) whose files must be in the result before the
    // sidecar may be written: the photos sharing it and a sidecar that travelled to its name.
    QStringList prerequisites;
    // writeRating only: the file at the destination is the photo's own sidecar, brought along
    // in this run, and is updated rather than left alone.
    bool updatesTravelledSidecar = false;
    int keepRatingStars = 1;

    friend bool operator==(const PlannedAction&, const PlannedAction&) = default;
};

struct SortExecutionPlan {
    QList<PlannedAction> actions;          // journal order; execution order but for writeRating, run last
    QList<TrashSourceItem> deletions;      // organizeAndTrash: files decided delete
    QList<TrashGroup> deletionGroups;      // the same files grouped for the trash transaction
    int untouchedCount = 0;
    qint64 totalBytes = 0;
    SortOptions options;
};

namespace ResumableSortExecutor {

// The journal key of a rating sidecar's record, in place of a source path:
// "xmp-rating:<stars for keep>:<source path of the first photo sharing the sidecar>". It is
// never an absolute path, so it meets no file's record, and it carries the stars, so a run
// resumed without the option still writes what the first run promised.
QString ratingRecordKey(int keepStars, const QString& photoSourcePath);
struct RatingRecordKey {
    int keepStars = 1;
    QString photoSourcePath;
};
std::optional<RatingRecordKey> parseRatingRecordKey(const QString& key);

using ExistsFunction = DestinationPlanner::ExistsFunction;
// Whether the file at `destination` holds exactly the bytes of `source` (both present).
using SameContentFunction = std::function<bool(const QString& source, const QString& destination)>;

// SHA-256 of both files as stored; false when either cannot be read.
bool sameContentOnDisk(const QString& source, const QString& destination);

// Whether a photo gets a copy or move action in `mode`: never without a decision; in
// organizeAndTrash only keep and maybe (delete goes to the trash transaction instead).
bool receivesAction(const PhotoItem& item, SortOperationMode mode);

// Turns the reviewed photos into a plan. `existingRecords` are the session's execution
// records keyed by source path. Order: relative paths in file-browser order, stable.
//
// Destinations on resume:
//  - completed record: its destination, marked shouldSkip;
//  - pending record whose destination exists: its destination, marked shouldSkip, because an
//    earlier run may have put the file there and been stopped before journaling it, but only
//    when the source is gone (a move that finished) or `sameContent` proves the file is the
//    source's copy. Anything else there is foreign: left untouched, and the file gets a fresh
//    name. The size alone never proves ownership: a stranger's file can have the same size;
//  - pending or failed record whose destination does not exist: that destination again, so
//    a resumed run produces the names of the first;
//  - otherwise a fresh uniqueDestination.
// Recorded destinations are reserved before fresh names are handed out, so a fresh name can
// never take a name an earlier run already promised to another file.
//
// With `writeRatingSidecars`, or when `existingRecords` hold rating records (an earlier run
// promised sidecars), the plan begins with one writeRating action per sidecar name (journaled
// first, run last: see prependRatingActions and executeSynchronously): the
// photo's result name with ".xmp" (or the name of the sidecar that travelled with it). Photos
// sharing a stem in one folder share the sidecar, which carries the most favourable of their
// decisions (keep, then maybe, then reject). A photo's fresh name is chosen so that its
// sidecar name is free too. A rating whose record is completed is skipped.
SortExecutionPlan buildPlan(const QList<PhotoItem>& items, const SortOptions& options,
                            const QMap<QString, ExecutionRecord>& existingRecords,
                            const ExistsFunction& fileManager = DestinationPlanner::existsOnDisk,
                            const SameContentFunction& sameContent = sameContentOnDisk);

// folder/name, or folder/"base N.ext" for the first N from 2 whose path neither exists nor is
// in `reservedPaths` (FileUrl paths). Never returns an existing file's name.
FileUrl uniqueDestination(const PhotoItem& photo, const FileUrl& folder, const QSet<QString>& reservedPaths,
                          const ExistsFunction& fileManager = DestinationPlanner::existsOnDisk);

} // namespace ResumableSortExecutor

} // namespace kestrava
