// Keeping the run's one session in step with the session store: snapshots, the decision
// journal, resuming, and session documents the user saves and opens.

#include "WindowWording.h"
#include "KestravaViewModel.h"
#include "model/DestinationPlanner.h"
#include "platform/DeliveredLater.h"
#include "platform/DurableFile.h"
#include "scanning/FormatPreselection.h"
#include "scanning/PhotoInventoryScanner.h"
#include "session/SessionStore.h"
#include "session/SessionStoreError.h"

#include <QFileInfo>

namespace kestrava {

namespace {

const QString ambiguousModeMessage = QStringLiteral(
    "Diese ältere Sitzung verwendete eine nicht eindeutige Verschieben-/Papierkorb-Kombination. Bitte wähle den Modus "
    "erneut.");

// The screen that fits a session's state. A session still in setup (no result folder yet)
// returns to setup; one whose review was finished returns to the confirmation screen as long
// as every group is still decided.
AppRoute routeForSession(const SortSession& session, bool everythingDecided)
{
    if (session.requiresModeSelection)
        return AppRoute::setup;
    switch (session.status) {
    case SortSessionStatus::reviewing:
        return session.destinationFolder ? AppRoute::reviewing : AppRoute::setup;
    case SortSessionStatus::ready:
        return everythingDecided && session.destinationFolder ? AppRoute::confirmation : AppRoute::reviewing;
    case SortSessionStatus::running:
    case SortSessionStatus::paused:
        // An interrupted execution resumes from the confirmation screen.
        return AppRoute::confirmation;
    case SortSessionStatus::completed:
        return AppRoute::completed;
    }
    return AppRoute::setup;
}

} // namespace

void KestravaViewModel::openSession()
{
    releaseSessionLock();
    const QDateTime created = core_.services.clock();
    SortSession session;
    session.id = QUuid::createUuid();
    session.createdAt = created;
    session.updatedAt = created;
    session.status = SortSessionStatus::reviewing;
    session.sourceFolder = sourceFolder_.value_or(FileUrl());
    session_ = std::move(session);
}

std::optional<SortSession> KestravaViewModel::makeSessionSnapshot(std::optional<SortSessionStatus> status) const
{
    if (!session_)
        return std::nullopt;
    SortSession snapshot = *session_;
    snapshot.updatedAt = core_.services.clock();
    snapshot.status = status.value_or(session_->status);
    snapshot.sourceFolder = sourceFolder_.value_or(session_->sourceFolder);
    snapshot.destinationBaseFolder = destinationBaseFolder_;
    snapshot.destinationFolder = core_.run.destinationFolder;
    snapshot.runFolderName = runFolderName_;
    snapshot.photos = core_.run.photos;
    snapshot.passThroughPhotos = core_.run.passThroughPhotos;
    snapshot.ignoredPhotoCount = core_.run.ignoredPhotoCount;
    snapshot.skippedEntryCount = core_.run.skippedEntryCount;
    snapshot.unsupportedFileCount = core_.run.unsupportedFileCount;
    snapshot.unsupportedFileExamples = core_.run.unsupportedFileExamples;
    snapshot.selectedReviewChoice = core_.run.selectedReviewChoice;
    snapshot.pairingWasTransferred = core_.run.pairingWasTransferred;
    snapshot.pairingChoiceResolved = !core_.run.showFormatChoice;
    snapshot.currentIndex = core_.run.currentIndex;
    snapshot.eventName = setup_.eventName();
    snapshot.groupByDate = setup_.groupByDate();
    // Without a chosen mode the document carries the default; a session still in setup is
    // restored with the mode unset (see apply).
    snapshot.operationMode = core_.run.selectedOperationMode.value_or(session_->operationMode);
    snapshot.verificationMode = setup_.verificationMode();
    snapshot.seriesGapMilliseconds = series_.gapMilliseconds();
    return snapshot;
}

QFuture<void> KestravaViewModel::saveSessionSnapshot(std::optional<SortSessionStatus> status)
{
    if (!core_.services.sessionStore)
        return QtFuture::makeReadyFuture();
    std::optional<SortSession> snapshot = makeSessionSnapshot(status);
    if (!snapshot)
        return QtFuture::makeReadyFuture();
    // Later snapshots build on this status even before the store confirms it; a failed save
    // is not retried, the next one writes the whole state again.
    session_->status = snapshot->status;
    QFuture<void> written = core_.services.sessionStore->saveSnapshot(*snapshot);
    // The caller gets the store's own future so it can wait on it from this thread; the
    // bookkeeping runs in a separate continuation.
    const QUuid id = snapshot->id;
    deliveredLater(written, this)
        .then(this,
              [this, id] {
                  if (session_ && session_->id == id)
                      sessionStage_.setLastSavedAt(core_.services.clock());
              })
        .onFailed(this, [this](const QException& error) { core_.raiseAlert(sessionNotSavedPrefix() + failureText(error)); })
        .onFailed(this, [this] { core_.raiseAlert(sessionNotSavedPrefix() + unknownFailureText()); });
    return written;
}

bool KestravaViewModel::apply(const SortSession& session)
{
    // Claimed before anything changes: a session another window or CLI run is writing is
    // refused and the state on screen stays as it was.
    if (core_.services.sessionStore) {
        try {
            core_.services.sessionStore->lockSession(session.id);
        } catch (const QException& error) {
            core_.raiseAlert(failureText(error));
            return false;
        }
    }
    releaseSessionLock(session.id);
    loading_.abandonScan();
    resetRun();
    session_ = session;

    setSourceFolder(session.sourceFolder);
    setDestinationBase(session.destinationBaseFolder);
    setDestinationFolder(session.destinationFolder);
    updateRunFolderName(session.runFolderName);
    setup_.updateEventName(session.eventName);
    setup_.updateGroupByDate(session.groupByDate);
    setup_.updateVerificationMode(session.verificationMode);
    series_.setGap(std::chrono::milliseconds(session.seriesGapMilliseconds));
    // A session still in setup never had its mode confirmed; an older ambiguous one must be
    // asked again.
    const bool modeChosen = !session.requiresModeSelection
        && (session.destinationFolder || session.status != SortSessionStatus::reviewing);
    setOperationMode(modeChosen ? std::optional(session.operationMode) : std::nullopt);
    if (session.destinationFolder && session.destinationBaseFolder)
        core_.run.resolvedRunIdentity = session.destinationBaseFolder->path() + QLatin1Char('\n')
            + DestinationPlanner::sanitize(session.runFolderName);

    loading_.restore(session);
    review_.rebuildGroups();
    review_.recalculateCounts();
    const int groups = review_.reviewGroupCount();
    review_.setCurrentIndex(groups == 0 ? 0 : std::clamp(session.currentIndex, 0, groups - 1));
    review_.withdrawPreview();
    trash_.setTrashPreparation(session.trashPreparation);

    core_.setRoute(routeForSession(session, groups > 0 && review_.undecidedGroupCount() == 0));
    if (session.requiresModeSelection)
        core_.raiseAlert(ambiguousModeMessage);
    // A session resumed into review or confirmation skips startReviewing, which would read
    // the dates; the snapshot's dates may be file dates of a review cut short.
    if (core_.route() == AppRoute::reviewing || core_.route() == AppRoute::confirmation)
        loading_.startMetadataEnrichment();
    // The journal, not the document, knows where each entry stands; the route follows it.
    trash_.reloadTrashPreparation();
    return true;
}

void KestravaViewModel::closeSession()
{
    releaseSessionLock();
    session_.reset();
}

void KestravaViewModel::releaseSessionLock(std::optional<QUuid> keep)
{
    if (core_.services.sessionStore && session_ && session_->id != keep)
        core_.services.sessionStore->unlockSession(session_->id);
}

QFuture<void> KestravaViewModel::flushSessionBeforeTermination()
{
    // The store runs its operations in order, so this snapshot lands after every journal
    // write already handed to it.
    return saveSessionSnapshot();
}

void KestravaViewModel::flushSessionBeforeTerminationAndWait()
{
    QFuture<void> flushed = flushSessionBeforeTermination();
    try {
        // Safe on this thread: the store's future does not need this thread's event loop.
        flushed.waitForFinished();
    } catch (...) {
        // Already reported through the alert continuation; the process ends either way.
    }
}

} // namespace kestrava
