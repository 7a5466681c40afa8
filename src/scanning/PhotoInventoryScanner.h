#pragma once

// Turns a chosen folder into the flat list of JPEG and RAW files the review works on.
//
// Contract of every scan:
// - One pass over the tree; at most one stat per entry, and only for files whose extension
//   names a photo (or entries whose type the directory listing does not tell), plus one
//   look-up of the run-folder marker per sub-folder.
// - Symbolic links are never followed (a link to a photo or a folder is not a regular file),
//   so link loops cannot hang a scan.
// - Names starting with "." are hidden and skipped. Folders whose name starts with
//   "Kestrava-Ergebnis" (earlier results) or ".kestrava" (working folders) are not descended,
//   nor sub-folders holding the run-folder marker: a result folder placed inside the source
//   would otherwise be offered for review again. The chosen folder itself is always read.
// - Files of other formats are counted, and the first few named, but not stat'ed.
// - Unreadable sub-folders are passed over and counted; only the chosen folder itself can
//   fail the scan.
// - Names that are not valid UTF-8 cannot be represented in a session document: they are left
//   out (and counted), never renamed or otherwise touched.
// - File dates are whole seconds (modification, else creation, else distantPast()), the
//   precision the session document keeps, so a scanned item equals its stored copy.
// - The result is sorted stably by relativePath in file-browser order (IMG_2 before IMG_10).
// No image data is read. Stateless and safe to call from any thread; it blocks.

#include "PhotoScannerError.h"
#include "model/FileUrl.h"
#include "model/PhotoModel.h"

#include <QStringList>
#include <functional>

namespace kestrava {

struct PhotoScanOutcome {
    PhotoScanOutcome() = default;
    // A scan that left nothing out.
    PhotoScanOutcome(QList<PhotoItem> found) : items(std::move(found)) {}

    QList<PhotoItem> items;
    // Entries that would have been photos or folders to descend, left out because their name
    // is not valid UTF-8.
    int skippedUndecodableNames = 0;
    // Sub-folders that could not be opened (permission, vanished during the scan).
    int skippedUnreadableFolders = 0;
    // Entries whose files are not part of the sort and stay where they are, whatever the run
    // does with the rest; the user must be told.
    int skippedEntryCount() const { return skippedUndecodableNames + skippedUnreadableFolders; }
    // Regular, not hidden files of formats the review does not take (videos, sidecars, RAW
    // formats without support): they stay in place too. A few names, enough to recognise them.
    int unsupportedFiles = 0;
    QStringList unsupportedExamples; // names of the first few met, in file-browser order
    static constexpr int maxUnsupportedExamples = 3;
    // True when the cancellation check answered true; `items` is then empty.
    bool canceled = false;
};

namespace PhotoInventoryScanner {

// Called on the calling thread before each folder it reads below the chosen one; returning
// true stops the scan. The walk may use one free pool thread besides the calling thread.
using CancelCheck = std::function<bool()>;

// Throws PhotoScannerError::folderUnavailable when `folder` cannot be enumerated.
PhotoScanOutcome scanDetailed(const FileUrl& folder, const CancelCheck& isCanceled = {});

QList<PhotoItem> scan(const FileUrl& folder);
// `folder` may be relative to the working directory; it is made absolute first.
QList<PhotoItem> scan(const QString& folder);

// Sorts stably by relativePath in file-browser order (kestrava::text::compareNatural),
// through precomputed sort keys.
void sortByRelativePath(QList<PhotoItem>& items);

} // namespace PhotoInventoryScanner

} // namespace kestrava
