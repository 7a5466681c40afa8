#pragma once

// What the review workflow needs from outside, handed to KestravaViewModel at construction
// so that tests and the command line can replace every piece: the session store, the folder
// scan, the clock, the timing of feedback and completion, capture-date enrichment and the
// existence test for result folders.

#include "model/DestinationPlanner.h"
#include "model/PhotoModel.h"
#include "scanning/PhotoInventoryScanner.h"

#include <QFuture>
#include <chrono>
#include <functional>
#include <memory>

namespace kestrava {

class SessionStore;
class TrashService;
class TrashCapabilityChecking;
class TrashReceiptValidating;
class FileOps;

// The desktop around the workflow: showing folders and files. The UI installs the file
// manager; without one (command line, tests) the calls do nothing.
class DesktopServices {
public:
    virtual ~DesktopServices() = default;
    // Shows the item selected in a file-manager window.
    virtual void reveal(const FileUrl& item) = 0;
    // Opens a file with its default application.
    virtual void open(const FileUrl& file) = 0;
};

// The system Trash as the trash transaction reaches it. Default: the freedesktop services.
struct TrashServices {
    std::shared_ptr<const TrashService> service;
    std::shared_ptr<const TrashCapabilityChecking> capability;
    std::shared_ptr<const TrashReceiptValidating> receipts;
};

// Reads capture dates for reviewed photos in the background. The real pipeline plugs in here;
// the workflow never depends on it directly.
class MetadataEnriching {
public:
    virtual ~MetadataEnriching() = default;
    // The same photos, in the same order, with `captureDate` filled where it could be read.
    // Runs off the GUI thread; cancelling the future asks it to stop. Unreadable files keep
    // their date: enrichment never fails the workflow.
    virtual QFuture<QList<PhotoItem>> enrich(QList<PhotoItem> photos) = 0;
};

// Leaves every date as the scan found it.
class NoMetadataEnrichment final : public MetadataEnriching {
public:
    QFuture<QList<PhotoItem>> enrich(QList<PhotoItem> photos) override;
};

struct WorkflowTimings {
    // Feedback overlay: shown, then two exit steps, then removed (0.98 s in all).
    std::chrono::milliseconds feedbackHold{620};
    std::chrono::milliseconds feedbackExitStep{180};
    // From the commit of the last open decision to the confirmation screen.
    std::chrono::milliseconds completionDelay{820};
};

struct WorkflowServices {
    // None disables all persistence. Not owned; must outlive the view model.
    SessionStore* sessionStore = nullptr;
    // Blocking scan, called on a worker thread. Default: PhotoInventoryScanner::scanDetailed.
    // A function answering a plain list reports nothing left out.
    std::function<PhotoScanOutcome(const FileUrl& folder)> scanFolder;
    // Whether a path lies on a removable volume (a card, a stick); called on a worker thread.
    // Default: the platform's volume facts.
    std::function<bool(const QString& path)> isOnRemovableVolume;
    // Proposed as destination base for a source on a removable volume, so results never land
    // on the card by default. Default: the user's Pictures folder.
    QString picturesFolder;
    // Default: the current time in UTC.
    std::function<QDateTime()> clock;
    WorkflowTimings timings;
    // Default: NoMetadataEnrichment.
    std::shared_ptr<MetadataEnriching> metadata;
    // Default: DestinationPlanner::existsOnDisk.
    DestinationPlanner::ExistsFunction exists;
    // Default: none (reveal and open do nothing).
    std::shared_ptr<DesktopServices> desktop;
    // Default: the freedesktop Trash of this machine.
    TrashServices trash;
    // Where trash journals live. Default: the session store's folder (empty without a store).
    QString journalBase;
    // File access of the executor; default FileOps::system(). Not owned.
    FileOps* fileOps = nullptr;
};

// Cancels a task that has not finished yet. A finished future is left alone: cancelling it
// would still notify its continuations' watchers, which Qt 6.4 may already have released.
template <class T>
void cancelIfRunning(QFuture<T>& future)
{
    if (!future.isFinished())
        future.cancel();
}

} // namespace kestrava
