// From a chosen folder to a review that can start: scan, counts, format choice, groups,
// result folder and capture dates.

#include "FailureText.h"
#include "KestravaViewModel.h"
#include "model/DestinationPlanner.h"
#include "scanning/FormatPreselection.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QtConcurrent>

#include <algorithm>

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

} // namespace

void KestravaViewModel::load(const QString& folderPath)
{
    if (!folderPath.isEmpty())
        load(FileUrl::fromLocalPath(folderPath));
}

void KestravaViewModel::load(const FileUrl& folder)
{
    cancelIfRunning(scanTask_);
    resetTransientState();
    // A new folder is a new run; its session is created once the scan has found files.
    releaseSessionLock();
    session_.reset();
    setSourceFolder(folder);
    setRunFolderNameValue(DestinationPlanner::suggestedRunName(setup_.eventName(), now().toLocalTime()));
    setRoute(AppRoute::scanning);
    setFlag(isLoading_, true, &KestravaViewModel::isLoadingChanged);

    const quint64 generation = core_.generation();
    scanTask_ = QtConcurrent::run([services = services_, folder] { return scanFolder(services, folder); });
    scanTask_
        .then(this,
              [this, generation](const FolderScan& scanned) {
                  if (generation != core_.generation())
                      return;
                  const QList<PhotoItem>& items = scanned.outcome.items;
                  // Unless the user already chose a base.
                  if (!destinationBaseFolder_)
                      setDestinationBase(scanned.proposedDestinationBase);
                  setSkippedEntryCount(scanned.outcome.skippedEntryCount());
                  prepareScannedPhotos(items);
                  setFlag(isLoading_, false, &KestravaViewModel::isLoadingChanged);
                  if (items.isEmpty()) {
                      // Nothing to sort, so no session is opened that would later be offered
                      // for resuming.
                      setRoute(AppRoute::welcome);
                      setAlert(QStringLiteral(
                          "In diesem Ordner wurden keine unterstützten JPEG- oder RAW-Dateien gefunden."));
                      return;
                  }
                  setRoute(AppRoute::setup);
                  createSession();
                  saveSessionSnapshot();
              })
        .onFailed(this,
                  [this, generation](const QException& error) {
                      if (generation != core_.generation())
                          return;
                      setFlag(isLoading_, false, &KestravaViewModel::isLoadingChanged);
                      setRoute(AppRoute::welcome);
                      setAlert(failureText(error));
                  })
        .onFailed(this, [this, generation] {
            if (generation != core_.generation())
                return;
            setFlag(isLoading_, false, &KestravaViewModel::isLoadingChanged);
            setRoute(AppRoute::welcome);
            setAlert(QStringLiteral("Der Ordner „%1“ konnte nicht gelesen werden.").arg(sourceFolderPath()));
        });
}

FolderScan KestravaViewModel::scanFolder(const WorkflowServices& services, const FileUrl& folder)
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

void KestravaViewModel::setSkippedEntryCount(int count)
{
    setCount(run_.skippedEntryCount, count, &KestravaViewModel::skippedEntryCountChanged);
}

QString KestravaViewModel::skippedEntriesNoteText() const
{
    return skippedEntriesNote(run_.skippedEntryCount);
}

namespace {

// The real path where the folder exists (links resolved, so another name for the same
// folder is recognised), else the cleaned path.
QString comparablePath(const FileUrl& folder)
{
    const QString canonical = QFileInfo(folder.path()).canonicalFilePath();
    return canonical.isEmpty() ? QDir::cleanPath(folder.path()) : canonical;
}

} // namespace

QString KestravaViewModel::destinationBaseWarning() const
{
    if (!sourceFolder_ || !destinationBaseFolder_)
        return {};
    const QString source = comparablePath(*sourceFolder_);
    const QString base = comparablePath(*destinationBaseFolder_);
    const bool inside = base == source
        || base.startsWith(source.endsWith(QLatin1Char('/')) ? source : source + QLatin1Char('/'));
    if (!inside)
        return {};
    return QStringLiteral("Die Zielbasis liegt im Quellordner. Die Ergebnisse landen dann zwischen den Originalen "
                          "und auf demselben Datenträger; wähle besser einen Ordner außerhalb von „%1“.")
        .arg(sourceFolder_->fileName());
}

void KestravaViewModel::prepareScannedPhotos(const QList<PhotoItem>& items)
{
    run_.scannedInventory = items;
    int jpegs = 0;
    int raws = 0;
    int others = 0;
    for (const PhotoItem& item : items) {
        jpegs += item.formatGroup == PhotoFormatGroup::jpeg ? 1 : 0;
        raws += item.formatGroup == PhotoFormatGroup::raw ? 1 : 0;
        others += item.formatGroup == PhotoFormatGroup::other ? 1 : 0;
    }
    setCount(run_.jpegAvailableCount, jpegs, &KestravaViewModel::jpegAvailableCountChanged);
    setCount(run_.rawAvailableCount, raws, &KestravaViewModel::rawAvailableCountChanged);
    // Files of neither format are never reviewed; the choice adds the format it leaves out.
    setCount(run_.ignoredPhotoCount, others, &KestravaViewModel::ignoredPhotoCountChanged);

    const auto choice = preselectedReviewChoice(jpegs, raws);
    setSelectedReviewChoice(choice);
    setFlag(run_.showFormatChoice, offersFormatChoice(jpegs, raws), &KestravaViewModel::showFormatChoiceChanged);
    if (choice)
        applyReviewChoice(*choice);
    setRoute(AppRoute::setup);
}

void KestravaViewModel::chooseFormatReview(const QString& choice)
{
    if (const auto value = enumFromRaw<FormatReviewChoice>(choice))
        chooseFormatReview(*value);
}

void KestravaViewModel::chooseFormatReview(FormatReviewChoice choice)
{
    setSelectedReviewChoice(choice);
    setFlag(run_.showFormatChoice, false, &KestravaViewModel::showFormatChoiceChanged);
    applyReviewChoice(choice);
    // Other groups, other run: the result folder is resolved anew when review starts.
    setDestinationFolder(std::nullopt);
    run_.resolvedRunIdentity.reset();
    saveSessionSnapshot();
}

void KestravaViewModel::applyReviewChoice(FormatReviewChoice choice)
{
    QList<PhotoItem> reviewed;
    QList<PhotoItem> carried;
    int ignored = 0;
    for (const PhotoItem& item : run_.scannedInventory) {
        if (choiceReviews(choice, item.formatGroup)) {
            reviewed.append(item);
        } else {
            carried.append(item);
            ++ignored;
        }
    }
    run_.photos = std::move(reviewed);
    run_.passThroughPhotos = std::move(carried);
    setCount(run_.ignoredPhotoCount, ignored, &KestravaViewModel::ignoredPhotoCountChanged);
    emit photosChanged();
    review_.startOver();
}

void KestravaViewModel::startReviewing()
{
    if (!canStartReview()) {
        setAlert(QStringLiteral("Bitte wähle Format, Modus, Zielbasis und einen Namen für den Ergebnisordner."));
        return;
    }
    if (const auto failure = resolveRunFolderIfNeeded(*destinationBaseFolder_)) {
        setAlert(*failure);
        return;
    }
    setRoute(AppRoute::reviewing);
    review_.withdrawPreview();
    setDestructiveConfirmationAccepted(false);
    saveSessionSnapshot(SortSessionStatus::reviewing);
    startMetadataEnrichment();
}

std::optional<QString> KestravaViewModel::resolveRunFolderIfNeeded(const FileUrl& base)
{
    const QString name = DestinationPlanner::sanitize(runFolderName_);
    if (name.isEmpty())
        return QStringLiteral("Bitte wähle Format, Modus, Zielbasis und einen Namen für den Ergebnisordner.");
    const QString identity = base.path() + QLatin1Char('\n') + name;
    if (run_.resolvedRunIdentity == identity && run_.destinationFolder)
        return std::nullopt;
    const FileUrl folder = DestinationPlanner::uniqueRunFolder(base, name, services_.exists);
    setDestinationFolder(folder);
    setRunFolderNameValue(folder.fileName());
    // The identity keeps the name the user asked for, so re-entering review with the same
    // base and name finds the folder already resolved even when a counter was appended.
    run_.resolvedRunIdentity = identity;
    return std::nullopt;
}

void KestravaViewModel::cancelMetadataTask()
{
    cancelIfRunning(metadataTask_);
    metadataTask_ = {};
    setFlag(isPreparingMetadata_, false, &KestravaViewModel::isPreparingMetadataChanged);
}

void KestravaViewModel::startMetadataEnrichment()
{
    if (run_.metadataWasEnriched || (run_.photos.isEmpty() && run_.passThroughPhotos.isEmpty()))
        return;
    cancelMetadataTask();
    setFlag(isPreparingMetadata_, true, &KestravaViewModel::isPreparingMetadataChanged);
    const quint64 generation = core_.generation();
    // The files carried along unreviewed are sorted into date folders too.
    metadataTask_ = services_.metadata->enrich(run_.photos + run_.passThroughPhotos);
    metadataTask_
        .then(this,
              [this, generation](const QList<PhotoItem>& enriched) {
                  if (generation != core_.generation())
                      return;
                  QHash<FileUrl, qsizetype> carried;
                  for (qsizetype i = 0; i < run_.passThroughPhotos.size(); ++i)
                      carried.insert(run_.passThroughPhotos[i].sourceURL, i);
                  // Only the dates are taken: decisions made meanwhile stay as they are.
                  for (const PhotoItem& item : enriched) {
                      if (item.captureDate.isNull())
                          continue;
                      if (const qsizetype i = run_.index.photoIndex(item.sourceURL); i >= 0)
                          takeCaptureDate(run_.photos[i], item);
                      else if (const auto found = carried.constFind(item.sourceURL); found != carried.constEnd())
                          takeCaptureDate(run_.passThroughPhotos[*found], item);
                  }
                  run_.metadataWasEnriched = true;
                  emit execution_.canExecuteChanged();
                  setFlag(isPreparingMetadata_, false, &KestravaViewModel::isPreparingMetadataChanged);
                  emit photosChanged();
                  emit metadataEnriched();
              })
        .onFailed(this,
                  [this, generation] {
                      // Capture dates are a convenience: without them the files keep their
                      // file dates and nothing is reported; the run need not wait any longer.
                      if (generation != core_.generation())
                          return;
                      run_.metadataWasEnriched = true;
                      emit execution_.canExecuteChanged();
                      setFlag(isPreparingMetadata_, false, &KestravaViewModel::isPreparingMetadataChanged);
                  })
        .onCanceled(this, [this, generation] {
            if (generation == core_.generation())
                setFlag(isPreparingMetadata_, false, &KestravaViewModel::isPreparingMetadataChanged);
        });
}

// ---- Run guards and rating sidecars ----------------------------------------------------------

bool KestravaViewModel::isWaitingForCaptureDates() const
{
    return !run_.metadataWasEnriched && !(run_.photos.isEmpty() && run_.passThroughPhotos.isEmpty());
}

QString KestravaViewModel::executionWaitText() const
{
    if (!isWaitingForCaptureDates())
        return {};
    return QStringLiteral("Aufnahmedaten werden gelesen … Das Sortieren kann beginnen, sobald alle Aufnahmedaten "
                          "bekannt sind.");
}

} // namespace kestrava
