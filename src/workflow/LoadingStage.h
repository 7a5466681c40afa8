#pragma once

// From a chosen folder to a review that can start: the scan, what it found (formats, files it
// could not take), the choice of format and pairing, the result folder's name and, once review
// starts, the capture dates read in the background. A session applied from a document or a
// recovery list fills the same state through `restore` and `takeInventory`.
//
// Contract:
// - GUI thread only. The scan and the capture dates run off it and hand their results back
//   here; a result of a run that was reset meanwhile is dropped (WorkflowCore::generation).
// - Owns at most one scan and one capture-date task; starting one cancels the previous, a new
//   run cancels the capture dates.
// - A run sorts by capture date only once every item it sorts had its dates read (or the
//   reading gave up); until then `isWaitingForCaptureDates` holds the run back.

#include "ChoiceValues.h"
#include "WorkflowCore.h"
#include "scanning/PhotoInventoryScanner.h"
#include "session/SortSession.h"

#include <QFuture>
#include <QObject>

namespace kestrava {

class KestravaViewModel;

// One opened folder: what the scan found and the destination base proposed for it.
struct FolderScan {
    PhotoScanOutcome outcome;
    FileUrl proposedDestinationBase;
};

class LoadingStage : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isLoading READ isLoading NOTIFY isLoadingChanged)
    Q_PROPERTY(bool isPreparingMetadata READ isPreparingMetadata NOTIFY isPreparingMetadataChanged)
    Q_PROPERTY(int photoCount READ photoCount NOTIFY photosChanged)
    Q_PROPERTY(int jpegAvailableCount READ jpegAvailableCount NOTIFY formatCountsChanged)
    Q_PROPERTY(int rawAvailableCount READ rawAvailableCount NOTIFY formatCountsChanged)
    Q_PROPERTY(int ignoredPhotoCount READ ignoredPhotoCount NOTIFY formatCountsChanged)
    Q_PROPERTY(int selectedReviewChoice READ selectedReviewChoiceNumber NOTIFY selectedReviewChoiceChanged)
    Q_PROPERTY(QString selectedReviewChoiceTitle READ selectedReviewChoiceTitle NOTIFY selectedReviewChoiceChanged)
    Q_PROPERTY(QList<kestrava::SetupChoice> reviewChoices READ reviewChoices NOTIFY formatCountsChanged)
    Q_PROPERTY(bool showFormatChoice READ showFormatChoice NOTIFY showFormatChoiceChanged)
    Q_PROPERTY(bool showPairingChoice READ showPairingChoice NOTIFY showPairingChoiceChanged)
    Q_PROPERTY(bool pairingWasTransferred READ pairingWasTransferred NOTIFY pairingWasTransferredChanged)
    Q_PROPERTY(int skippedEntryCount READ skippedEntryCount NOTIFY skippedEntryCountChanged)
    Q_PROPERTY(QString skippedEntriesNote READ skippedEntriesNoteText NOTIFY skippedEntryCountChanged)
    Q_PROPERTY(bool canStartReview READ canStartReview NOTIFY canStartReviewChanged)
    Q_PROPERTY(QString executionWaitText READ executionWaitText NOTIFY isPreparingMetadataChanged)

public:
    LoadingStage(WorkflowCore& core, KestravaViewModel& flow);
    ~LoadingStage() override;

    bool isLoading() const { return isLoading_; }
    bool isPreparingMetadata() const { return isPreparingMetadata_; }
    const QList<PhotoItem>& photos() const { return run().photos; }
    int photoCount() const { return int(run().photos.size()); }
    const QList<ReviewGroup>& reviewGroups() const { return run().reviewGroups; }
    const QList<PhotoItem>& passThroughPhotos() const { return run().passThroughPhotos; }
    const QList<PhotoItem>& scannedInventory() const { return run().scannedInventory; }
    int jpegAvailableCount() const { return run().jpegAvailableCount; }
    int rawAvailableCount() const { return run().rawAvailableCount; }
    int ignoredPhotoCount() const { return run().ignoredPhotoCount; }
    std::optional<FormatReviewChoice> selectedReviewChoice() const { return run().selectedReviewChoice; }
    int selectedReviewChoiceNumber() const { return choiceNumber(run().selectedReviewChoice); }
    QString selectedReviewChoiceTitle() const;
    // Both, JPEG, RAW in the order offered; a choice whose formats the folder lacks is unavailable.
    QList<SetupChoice> reviewChoices() const;
    bool showFormatChoice() const { return run().showFormatChoice; }
    bool showPairingChoice() const { return run().showPairingChoice; }
    bool pairingWasTransferred() const { return run().pairingWasTransferred; }
    // Entries the scan could not take; their files stay in the source folder whatever the run does.
    int skippedEntryCount() const { return run().skippedEntryCount; }
    // The German note naming them; empty when nothing was left out.
    QString skippedEntriesNoteText() const;
    bool canStartReview() const;
    bool metadataWasEnriched() const { return run().metadataWasEnriched; }
    bool isWaitingForCaptureDates() const;
    // What the confirmation screen shows while it waits; empty when nothing is awaited.
    QString executionWaitText() const;

    // Scans the folder off the GUI thread and prepares the setup screen.
    Q_INVOKABLE void load(const QString& folderPath);
    void load(const FileUrl& folder);
    Q_INVOKABLE void chooseFormatReview(kestrava::ReviewChoice::Value choice)
    {
        chooseFormatReview(ReviewChoice::toModel(choice));
    }
    void chooseFormatReview(FormatReviewChoice choice);
    Q_INVOKABLE void startReviewing();

    // Runs on a worker thread.
    static FolderScan scanFolder(const WorkflowServices& services, const FileUrl& folder);
    // A scan still running is dropped and nothing is loading any more.
    void abandonScan();
    // A new inventory (a scan's or a recovery's) with the format preselected and the groups built.
    void takeInventory(const QList<PhotoItem>& items, int skippedEntryCount);
    // The inventory, counts and choices a session document recorded.
    void restore(const SortSession& session);
    void startMetadataEnrichment();

signals:
    void isLoadingChanged();
    void isPreparingMetadataChanged();
    void photosChanged();
    void formatCountsChanged();
    void selectedReviewChoiceChanged();
    void showFormatChoiceChanged();
    void showPairingChoiceChanged();
    void pairingWasTransferredChanged();
    void skippedEntryCountChanged();
    void canStartReviewChanged();
    // The metadata task finished and its dates were merged.
    void metadataEnriched();

private:
    RunState& run() { return core_.run; }
    const RunState& run() const { return core_.run; }
    void setFlag(bool& field, bool value, void (LoadingStage::*signal)());
    void setCounts(int jpegs, int raws, int ignored);
    void setSelectedReviewChoice(std::optional<FormatReviewChoice> choice);
    void applyReviewChoice(FormatReviewChoice choice);
    // Empty on success, else the failure text.
    std::optional<QString> resolveRunFolderIfNeeded(const FileUrl& base);
    void cancelMetadataTask();
    void finishMetadata();

    WorkflowCore& core_;
    KestravaViewModel& flow_;
    bool isLoading_ = false;
    bool isPreparingMetadata_ = false;
    // A continuation checks core_.generation(): when it is no longer the one it captured, the
    // run was reset and the continuation must not touch anything.
    QFuture<FolderScan> scanTask_;
    QFuture<QList<PhotoItem>> metadataTask_;
};

} // namespace kestrava
