#pragma once

// Everything one run of the review flow knows, from the opened folder's photos to the
// prepared trash step: the state a new folder, a new sort or an applied session starts from
// scratch. It is one value so that a reset is one assignment and a field added here can never
// be forgotten by the reset.
//
// What outlives a run stays outside: the chosen folders and names, the open session document,
// the generation counters (they must only grow) and the panels' visibility.

#include "ReviewIndex.h"
#include "model/PhotoModel.h"
#include "execution/SortExecutionPlan.h"
#include "execution/SortProgress.h"
#include "execution/StoragePreflight.h"
#include "trash/TrashTypes.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QUuid>
#include <optional>

namespace kestrava {

struct RunState {
    // What the scan found and how it is reviewed.
    QList<PhotoItem> scannedInventory;
    QList<PhotoItem> photos;
    QList<PhotoItem> passThroughPhotos;
    QList<ReviewGroup> reviewGroups;
    ReviewIndex index;
    int jpegAvailableCount = 0;
    int rawAvailableCount = 0;
    int ignoredPhotoCount = 0;
    int skippedEntryCount = 0;
    // Files of formats the scan does not take, with a few of their names; left in place.
    int unsupportedFileCount = 0;
    QStringList unsupportedFileExamples;
    std::optional<FormatReviewChoice> selectedReviewChoice;
    bool showFormatChoice = false;
    bool showPairingChoice = false;
    bool pairingWasTransferred = false;
    bool metadataWasEnriched = false;

    // Review.
    int currentIndex = 0;
    QList<HistoryEntry> history;
    DecisionTally tally;
    std::optional<DecisionFeedback> decisionFeedback;
    bool feedbackIsExiting = false;
    bool isPreviewReady = false;
    // The URL whose preview was last reported visible.
    QString previewReadyURL;
    // A decision key came while the picture was not on screen yet: the review says why it did
    // nothing until the picture is there.
    bool keyRefusedWhileLoading = false;
    bool isCommittingDecision = false;
    bool showReviewCompletion = false;
    std::optional<QUuid> reviewAuditRequestID;
    bool isReviewAuditPresented = false;
    std::optional<QString> pendingDecisionGroupID;

    // Where and how the result is written.
    std::optional<SortOperationMode> selectedOperationMode;
    std::optional<FileUrl> destinationFolder;
    std::optional<QString> resolvedRunIdentity;
    bool destructiveConfirmationAccepted = false;

    // Execution and the trash step.
    bool isApplying = false;
    bool isCheckingStorage = false;
    std::optional<StorageEstimate> storageEstimate;
    std::optional<SortProgress> sortProgress;
    QString progressTitle;
    std::optional<SortResult> lastResult;
    std::optional<SortResult> preparedOrganizationResult;
    std::optional<TrashPreparation> trashPreparation;
    bool trashCommitConfirmationAccepted = false;
    // Set when the journal could not be continued: the transaction waits for a person.
    bool trashJournalBlocked = false;
};

} // namespace kestrava
