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

namespace kestrava {

enum class PlannedActionKind { copy, move };
template <>
struct EnumNames<PlannedActionKind> {
    static constexpr std::array<std::pair<PlannedActionKind, std::string_view>, 2> table{{
        {PlannedActionKind::copy, "copy"}, {PlannedActionKind::move, "move"}}};
};

struct PlannedAction {
    QString id;             // the source path: unique within a plan
    PhotoItem item;
    FileUrl destinationURL;
    PlannedActionKind kind = PlannedActionKind::copy;
    // Already done by an earlier run, or possibly done (a crash between the rename into place
    // and the journal line): the executor validates what is at the destination instead of
    // executing the action again.
    bool shouldSkip = false;

    friend bool operator==(const PlannedAction&, const PlannedAction&) = default;
};

struct SortExecutionPlan {
    QList<PlannedAction> actions;          // execution order
    QList<TrashSourceItem> deletions;      // organizeAndTrash: files decided delete
    QList<TrashGroup> deletionGroups;      // the same files grouped for the trash transaction
    int untouchedCount = 0;
    qint64 totalBytes = 0;
    SortOptions options;
};

namespace ResumableSortExecutor {

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
