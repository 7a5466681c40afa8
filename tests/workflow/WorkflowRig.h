#pragma once

// A view model wired to test doubles: a scanner that returns a prepared list (or throws), a
// session store in a temporary folder whose system calls can be made to fail, and short
// timings so feedback and completion run in milliseconds.

#include "TestSupport.h"
#include "platform/FileOps.h"
#include "session/SessionStore.h"
#include "workflow/KestravaViewModel.h"

#include <QTest>
#include <memory>

namespace kestrava::test {

// Photos below `folder`: for each name a file; names ending in a RAW extension are RAW.
QList<PhotoItem> photosNamed(const QString& folder, const QStringList& relativePaths);
// `pairs` JPEG+RAW shots followed by `singles` lone JPEGs, in scanner order.
QList<PhotoItem> shoot(const QString& folder, int pairs, int singles = 0);
// Writes each photo's file with the size and date the scan reports and bytes of its own.
void writeFiles(const QList<PhotoItem>& items);

struct WorkflowRig {
    enum class Persistence { none, store };

    explicit WorkflowRig(Persistence persistence = Persistence::store, WorkflowTimings timings = shortTimings());
    ~WorkflowRig();

    static WorkflowTimings shortTimings();

    // Replaces the view model by a fresh one on the same store folder, as a restarted process
    // would see it (a new store instance without in-memory state).
    void restart();

    // Scans `items` as the content of the photo folder and waits for the setup screen.
    // `unreadableFolders`: sub-folders the scan reports as passed over.
    void load(const QList<PhotoItem>& items, int unreadableFolders = 0);
    // Mode, base folder and name as the setup screen would set them, then starts review.
    void startReview(SortOperationMode mode = SortOperationMode::safeCopy);
    // Reports the current preview visible, decides, and waits until the decision is settled.
    void decide(PhotoDecision decision);
    void markPreviewVisible();
    // Waits until no journal write runs and every store operation queued so far finished.
    void settle();

    KestravaViewModel& vm() { return *viewModel; }

    TempTree tree;
    QString photoFolder;
    QString destinationBase;
    QString storeFolder;
    FaultInjectingFileOps fileOps;
    PhotoScanOutcome scanResult;
    std::optional<QString> scanFailureFolder;
    // The capture-date reader of the next view model built; the default reads none.
    std::shared_ptr<MetadataEnriching> metadata;
    Persistence persistence;
    WorkflowTimings timings;
    std::unique_ptr<SessionStore> store;
    std::unique_ptr<KestravaViewModel> viewModel;

private:
    void build();
};

// Waits (processing events) until `condition` holds; false after `timeoutMs`.
bool waitFor(const std::function<bool()>& condition, int timeoutMs = 30000);

} // namespace kestrava::test
