#include "LoadingStage.h"
#include "WindowWording.h"
#include "KestravaViewModel.h"
#include "model/DestinationPlanner.h"
#include "platform/DeliveredLater.h"
#include "scanning/FormatPreselection.h"
#include "scanning/PhotoScannerError.h"

#include <QHash>
#include <QtConcurrent>

namespace kestrava {

namespace {

bool choiceReviews(FormatReviewChoice choice, PhotoFormatGroup format)
{
    switch (choice) {
    case FormatReviewChoice::jpeg:
        return format == PhotoFormatGroup::jpeg;
    case FormatReviewChoice::raw:
        return format == PhotoFormatGroup::raw;
    case FormatReviewChoice::both:
        return format == PhotoFormatGroup::jpeg || format == PhotoFormatGroup::raw;
    }
    return false;
}

const QString setupIncompleteMessage =
    QStringLiteral("Bitte wähle Format, Modus, Zielbasis und einen Namen für den Ergebnisordner.");

} // namespace

LoadingStage::LoadingStage(WorkflowCore& core, KestravaViewModel& flow) : QObject(&flow), core_(core), flow_(flow)
{
    connect(&core_, &WorkflowCore::runReset, this, [this] {
        cancelMetadataTask();
        for (auto signal : {&LoadingStage::photosChanged, &LoadingStage::formatCountsChanged,
                            &LoadingStage::selectedReviewChoiceChanged, &LoadingStage::skippedEntryCountChanged,
                            &LoadingStage::showFormatChoiceChanged, &LoadingStage::showPairingChoiceChanged,
                            &LoadingStage::pairingWasTransferredChanged})
            emit(this->*signal)();
    });
    for (auto signal : {&KestravaViewModel::sourceFolderChanged, &KestravaViewModel::destinationBaseFolderChanged,
                        &KestravaViewModel::selectedOperationModeChanged, &KestravaViewModel::runFolderNameChanged})
        connect(&flow_, signal, this, &LoadingStage::canStartReviewChanged);
    connect(this, &LoadingStage::selectedReviewChoiceChanged, this, &LoadingStage::canStartReviewChanged);
}

LoadingStage::~LoadingStage()
{
    cancelIfRunning(scanTask_);
    cancelIfRunning(metadataTask_);
}

void LoadingStage::setFlag(bool& field, bool value, void (LoadingStage::*signal)())
{
    if (field == value)
        return;
    field = value;
    emit(this->*signal)();
}

void LoadingStage::setCounts(int jpegs, int raws, int ignored)
{
    if (run().jpegAvailableCount == jpegs && run().rawAvailableCount == raws && run().ignoredPhotoCount == ignored)
        return;
    run().jpegAvailableCount = jpegs;
    run().rawAvailableCount = raws;
    run().ignoredPhotoCount = ignored;
    emit formatCountsChanged();
}

void LoadingStage::setSelectedReviewChoice(std::optional<FormatReviewChoice> choice)
{
    if (run().selectedReviewChoice == choice)
        return;
    run().selectedReviewChoice = choice;
    emit selectedReviewChoiceChanged();
}

QString LoadingStage::selectedReviewChoiceTitle() const
{
    return run().selectedReviewChoice ? WindowWording::reviewChoiceTitle(*run().selectedReviewChoice) : QString();
}

QList<SetupChoice> LoadingStage::reviewChoices() const
{
    QList<SetupChoice> choices;
    for (const FormatReviewChoice choice : {FormatReviewChoice::both, FormatReviewChoice::jpeg, FormatReviewChoice::raw})
        choices.append({.value = int(choice), .name = rawValue(choice), .title = WindowWording::reviewChoiceTitle(choice),
                        .description = WindowWording::reviewChoiceDescription(choice),
                        .available = WindowWording::reviewChoiceAvailable(choice, run().jpegAvailableCount,
                                                                          run().rawAvailableCount)});
    return choices;
}

QString LoadingStage::skippedEntriesNoteText() const
{
    return skippedEntriesNote(run().skippedEntryCount);
}

bool LoadingStage::canStartReview() const
{
    return flow_.sourceFolder() && flow_.destinationBaseFolder() && run().selectedReviewChoice
        && run().selectedOperationMode && !DestinationPlanner::sanitize(flow_.runFolderName()).isEmpty();
}

// ---- Scan ----------------------------------------------------------------------------------

void LoadingStage::load(const QString& folderPath)
{
    if (!folderPath.isEmpty())
        load(FileUrl::fromLocalPath(folderPath));
}

void LoadingStage::load(const FileUrl& folder)
{
    cancelIfRunning(scanTask_);
    flow_.resetRun();
    // A new folder is a new run; its session is created once the scan has found files.
    flow_.closeSession();
    flow_.setSourceFolder(folder);
    flow_.updateRunFolderName(
        DestinationPlanner::suggestedRunName(flow_.setup()->eventName(), core_.services.clock().toLocalTime()));
    core_.setRoute(AppRoute::scanning);
    setFlag(isLoading_, true, &LoadingStage::isLoadingChanged);

    const quint64 generation = core_.generation();
    scanTask_ = QtConcurrent::run([services = core_.services, folder] { return scanFolder(services, folder); });
    auto fail = [this, generation](const QString& message) {
        if (generation != core_.generation())
            return;
        setFlag(isLoading_, false, &LoadingStage::isLoadingChanged);
        core_.setRoute(AppRoute::welcome);
        core_.raiseAlert(message);
    };
    deliveredLater(scanTask_, this)
        .then(this,
              [this, generation](const FolderScan& scanned) {
                  if (generation != core_.generation())
                      return;
                  const QList<PhotoItem>& items = scanned.outcome.items;
                  // Unless the user already chose a base.
                  if (!flow_.destinationBaseFolder())
                      flow_.setDestinationBase(scanned.proposedDestinationBase);
                  takeInventory(items, scanned.outcome.skippedEntryCount());
                  run().unsupportedFileCount = scanned.outcome.unsupportedFiles;
                  run().unsupportedFileExamples = scanned.outcome.unsupportedExamples;
                  setFlag(isLoading_, false, &LoadingStage::isLoadingChanged);
                  if (items.isEmpty()) {
                      // Nothing to sort, so no session is opened that would later be offered
                      // for resuming.
                      core_.setRoute(AppRoute::welcome);
                      core_.raiseAlert(QStringLiteral(
                          "In diesem Ordner wurden keine unterstützten JPEG- oder RAW-Dateien gefunden."));
                      return;
                  }
                  core_.setRoute(AppRoute::setup);
                  flow_.openSession();
                  flow_.saveSessionSnapshot();
              })
        .onFailed(this, [fail](const QException& error) { fail(failureText(error)); })
        .onFailed(this, [this, fail] {
            fail(QStringLiteral("Der Ordner „%1“ konnte nicht gelesen werden.").arg(flow_.sourceFolderPath()));
        });
}

void LoadingStage::abandonScan()
{
    cancelIfRunning(scanTask_);
    setFlag(isLoading_, false, &LoadingStage::isLoadingChanged);
}

FolderScan LoadingStage::scanFolder(const WorkflowServices& services, const FileUrl& folder)
{
    FolderScan scanned;
    scanned.outcome = services.scanFolder(folder);
    // Results go beside the photo folder: inside it they would land among the originals. A
    // folder on a card is the exception, since the card is what the user means to empty.
    if (!services.picturesFolder.isEmpty() && services.isOnRemovableVolume(folder.path()))
        scanned.proposedDestinationBase = FileUrl::fromLocalPath(services.picturesFolder);
    else
        scanned.proposedDestinationBase = folder.parent();
    return scanned;
}

// ---- Inventory and format choice -------------------------------------------------------------

void LoadingStage::takeInventory(const QList<PhotoItem>& items, int skippedEntryCount)
{
    if (run().skippedEntryCount != skippedEntryCount) {
        run().skippedEntryCount = skippedEntryCount;
        emit skippedEntryCountChanged();
    }
    run().scannedInventory = items;
    int jpegs = 0;
    int raws = 0;
    int others = 0;
    for (const PhotoItem& item : items) {
        jpegs += item.formatGroup == PhotoFormatGroup::jpeg ? 1 : 0;
        raws += item.formatGroup == PhotoFormatGroup::raw ? 1 : 0;
        others += item.formatGroup == PhotoFormatGroup::other ? 1 : 0;
    }
    // Files of neither format are never reviewed; the choice adds the format it leaves out.
    setCounts(jpegs, raws, others);

    const auto choice = preselectedReviewChoice(jpegs, raws);
    setSelectedReviewChoice(choice);
    setFlag(run().showFormatChoice, offersFormatChoice(jpegs, raws), &LoadingStage::showFormatChoiceChanged);
    if (choice)
        applyReviewChoice(*choice);
    core_.setRoute(AppRoute::setup);
}

void LoadingStage::restore(const SortSession& session)
{
    run().photos = session.photos;
    run().passThroughPhotos = session.passThroughPhotos;
    // The full inventory again, in scanner order, so that a new format choice can split it.
    run().scannedInventory = run().photos + run().passThroughPhotos;
    PhotoInventoryScanner::sortByRelativePath(run().scannedInventory);
    int jpegs = 0;
    int raws = 0;
    for (const PhotoItem& item : run().scannedInventory) {
        jpegs += item.formatGroup == PhotoFormatGroup::jpeg ? 1 : 0;
        raws += item.formatGroup == PhotoFormatGroup::raw ? 1 : 0;
    }
    setCounts(jpegs, raws, session.ignoredPhotoCount);
    if (run().skippedEntryCount != session.skippedEntryCount) {
        run().skippedEntryCount = session.skippedEntryCount;
        emit skippedEntryCountChanged();
    }
    run().unsupportedFileCount = session.unsupportedFileCount;
    run().unsupportedFileExamples = session.unsupportedFileExamples;
    setSelectedReviewChoice(session.selectedReviewChoice);
    setFlag(run().showFormatChoice, !session.pairingChoiceResolved && offersFormatChoice(jpegs, raws),
            &LoadingStage::showFormatChoiceChanged);
    setFlag(run().pairingWasTransferred, session.pairingWasTransferred, &LoadingStage::pairingWasTransferredChanged);
    emit photosChanged();
}

void LoadingStage::chooseFormatReview(FormatReviewChoice choice)
{
    setSelectedReviewChoice(choice);
    setFlag(run().showFormatChoice, false, &LoadingStage::showFormatChoiceChanged);
    applyReviewChoice(choice);
    // Other groups, other run: the result folder is resolved anew when review starts.
    flow_.setDestinationFolder(std::nullopt);
    run().resolvedRunIdentity.reset();
    flow_.saveSessionSnapshot();
}

void LoadingStage::applyReviewChoice(FormatReviewChoice choice)
{
    QList<PhotoItem> reviewed;
    QList<PhotoItem> carried;
    int ignored = 0;
    for (const PhotoItem& item : run().scannedInventory) {
        if (choiceReviews(choice, item.formatGroup)) {
            reviewed.append(item);
        } else {
            carried.append(item);
            ++ignored;
        }
    }
    run().photos = std::move(reviewed);
    run().passThroughPhotos = std::move(carried);
    setCounts(run().jpegAvailableCount, run().rawAvailableCount, ignored);
    emit photosChanged();
    flow_.review()->startOver();
}

// ---- Starting the review -------------------------------------------------------------------

void LoadingStage::startReviewing()
{
    if (!canStartReview()) {
        core_.raiseAlert(setupIncompleteMessage);
        return;
    }
    if (const auto failure = resolveRunFolderIfNeeded(*flow_.destinationBaseFolder())) {
        core_.raiseAlert(*failure);
        return;
    }
    core_.setRoute(AppRoute::reviewing);
    flow_.review()->withdrawPreview();
    flow_.setDestructiveConfirmationAccepted(false);
    flow_.saveSessionSnapshot(SortSessionStatus::reviewing);
    startMetadataEnrichment();
}

std::optional<QString> LoadingStage::resolveRunFolderIfNeeded(const FileUrl& base)
{
    const QString name = DestinationPlanner::sanitize(flow_.runFolderName());
    if (name.isEmpty())
        return setupIncompleteMessage;
    const QString identity = base.path() + QLatin1Char('\n') + name;
    if (run().resolvedRunIdentity == identity && run().destinationFolder)
        return std::nullopt;
    const FileUrl folder = DestinationPlanner::uniqueRunFolder(base, name, core_.services.exists);
    flow_.setDestinationFolder(folder);
    flow_.updateRunFolderName(folder.fileName());
    // The identity keeps the name the user asked for, so re-entering review with the same
    // base and name finds the folder already resolved even when a counter was appended.
    run().resolvedRunIdentity = identity;
    return std::nullopt;
}

// ---- Capture dates ---------------------------------------------------------------------------

void LoadingStage::cancelMetadataTask()
{
    cancelIfRunning(metadataTask_);
    metadataTask_ = {};
    setFlag(isPreparingMetadata_, false, &LoadingStage::isPreparingMetadataChanged);
}

void LoadingStage::finishMetadata()
{
    run().metadataWasEnriched = true;
    emit flow_.execution()->canExecuteChanged();
    setFlag(isPreparingMetadata_, false, &LoadingStage::isPreparingMetadataChanged);
}

void LoadingStage::startMetadataEnrichment()
{
    if (run().metadataWasEnriched || (run().photos.isEmpty() && run().passThroughPhotos.isEmpty()))
        return;
    cancelMetadataTask();
    setFlag(isPreparingMetadata_, true, &LoadingStage::isPreparingMetadataChanged);
    const quint64 generation = core_.generation();
    // The files carried along unreviewed are sorted into date folders too.
    metadataTask_ = core_.services.metadata->enrich(run().photos + run().passThroughPhotos);
    deliveredLater(metadataTask_, this)
        .then(this,
              [this, generation](const QList<PhotoItem>& enriched) {
                  if (generation != core_.generation())
                      return;
                  QHash<FileUrl, qsizetype> carried;
                  for (qsizetype i = 0; i < run().passThroughPhotos.size(); ++i)
                      carried.insert(run().passThroughPhotos[i].sourceURL, i);
                  // Only the dates are taken: decisions made meanwhile stay as they are.
                  for (const PhotoItem& item : enriched) {
                      if (item.captureDate.isNull())
                          continue;
                      if (const qsizetype i = run().index.photoIndex(item.sourceURL); i >= 0)
                          takeCaptureDate(run().photos[i], item);
                      else if (const auto found = carried.constFind(item.sourceURL); found != carried.constEnd())
                          takeCaptureDate(run().passThroughPhotos[*found], item);
                  }
                  finishMetadata();
                  emit photosChanged();
                  emit metadataEnriched();
              })
        .onFailed(this,
                  [this, generation] {
                      // Capture dates are a convenience: without them the files keep their
                      // file dates and nothing is reported; the run need not wait any longer.
                      if (generation == core_.generation())
                          finishMetadata();
                  })
        .onCanceled(this, [this, generation] {
            if (generation == core_.generation())
                setFlag(isPreparingMetadata_, false, &LoadingStage::isPreparingMetadataChanged);
        });
}

bool LoadingStage::isWaitingForCaptureDates() const
{
    return !run().metadataWasEnriched && !(run().photos.isEmpty() && run().passThroughPhotos.isEmpty());
}

QString LoadingStage::executionWaitText() const
{
    if (!isWaitingForCaptureDates())
        return {};
    return QStringLiteral("Aufnahmedaten werden gelesen … Das Sortieren kann beginnen, sobald alle Aufnahmedaten "
                          "bekannt sind.");
}

} // namespace kestrava
