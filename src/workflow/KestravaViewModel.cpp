#include "KestravaViewModel.h"
#include "model/DestinationPlanner.h"
#include "model/Json.h"
#include "scanning/PhotoInventoryScanner.h"
#include "execution/ResumableSortExecutor.h"
#include "session/SessionStore.h"
#include "trash/FreedesktopTrash.h"
#include "trash/TrashLookup.h"

#include "platform/VolumeInfo.h"

#include <QStandardPaths>
#include <QtConcurrent>

namespace kestrava {

QFuture<QList<PhotoItem>> NoMetadataEnrichment::enrich(QList<PhotoItem> photos)
{
    return QtFuture::makeReadyFuture(std::move(photos));
}

KestravaViewModel::KestravaViewModel(WorkflowServices services, QObject* parent)
    : QObject(parent), core_(std::move(services))
{
    connect(&core_, &WorkflowCore::routeChanged, this, &KestravaViewModel::routeChanged);
    connect(&core_, &WorkflowCore::alertChanged, this, &KestravaViewModel::alertMessageChanged);
    if (!services_.scanFolder)
        services_.scanFolder = [](const FileUrl& folder) { return PhotoInventoryScanner::scanDetailed(folder); };
    if (!services_.isOnRemovableVolume)
        services_.isOnRemovableVolume = [](const QString& path) {
            const auto facts = volumeFacts(path);
            return facts && facts->isRemovable;
        };
    if (services_.picturesFolder.isEmpty())
        services_.picturesFolder = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
    connect(this, &KestravaViewModel::sourceFolderChanged, this, &KestravaViewModel::setupWarningsChanged);
    connect(this, &KestravaViewModel::destinationBaseFolderChanged, this, &KestravaViewModel::setupWarningsChanged);
    if (!services_.clock)
        services_.clock = [] { return QDateTime::currentDateTimeUtc(); };
    if (!services_.metadata)
        services_.metadata = std::make_shared<NoMetadataEnrichment>();
    if (!services_.exists)
        services_.exists = DestinationPlanner::existsOnDisk;

    if (!services_.trash.service)
        services_.trash.service = std::make_shared<FreedesktopTrashService>();
    if (!services_.trash.capability)
        services_.trash.capability = std::make_shared<FreedesktopTrashCapabilityChecker>();
    if (!services_.trash.receipts)
        services_.trash.receipts = std::make_shared<FreedesktopTrashReceipts>();

    for (auto signal : {&KestravaViewModel::sourceFolderChanged, &KestravaViewModel::destinationBaseFolderChanged,
                        &KestravaViewModel::selectedReviewChoiceChanged,
                        &KestravaViewModel::selectedOperationModeChanged, &KestravaViewModel::runFolderNameChanged})
        connect(this, signal, this, &KestravaViewModel::canStartReviewChanged);
    // Staged safety copies keep a second run from starting.
    connect(&trash_, &TrashStage::trashPreparationChanged, &execution_, &ExecutionStage::canExecuteChanged);

    sessionStage_.discoverResumable();
}

KestravaViewModel::~KestravaViewModel()
{
    // The execution thread posts to the flow too (trash steps); it must end first.
    execution_.cancelExecutionTask();
    cancelIfRunning(scanTask_);
    cancelIfRunning(metadataTask_);
}

// ---- Setters -----------------------------------------------------------------------------

void KestravaViewModel::setFlag(bool& field, bool value, void (KestravaViewModel::*signal)())
{
    if (field == value)
        return;
    field = value;
    emit(this->*signal)();
}

void KestravaViewModel::setCount(int& field, int value, void (KestravaViewModel::*signal)())
{
    if (field == value)
        return;
    field = value;
    emit(this->*signal)();
}

void KestravaViewModel::setRoute(AppRoute route)
{
    core_.setRoute(route);
}

void KestravaViewModel::setAlert(std::optional<QString> message)
{
    if (message)
        core_.raiseAlert(*message);
}

void KestravaViewModel::dismissAlert()
{
    core_.dismissAlert();
}

void KestravaViewModel::setSourceFolder(std::optional<FileUrl> folder)
{
    if (sourceFolder_ == folder)
        return;
    sourceFolder_ = std::move(folder);
    emit sourceFolderChanged();
}

void KestravaViewModel::setDestinationBase(std::optional<FileUrl> folder)
{
    if (destinationBaseFolder_ == folder)
        return;
    destinationBaseFolder_ = std::move(folder);
    emit destinationBaseFolderChanged();
}

void KestravaViewModel::setDestinationFolder(std::optional<FileUrl> folder)
{
    if (run_.destinationFolder == folder)
        return;
    run_.destinationFolder = std::move(folder);
    emit destinationFolderChanged();
}

void KestravaViewModel::setRunFolderNameValue(const QString& name)
{
    if (runFolderName_ == name)
        return;
    runFolderName_ = name;
    emit runFolderNameChanged();
}

void KestravaViewModel::setSelectedReviewChoice(std::optional<FormatReviewChoice> choice)
{
    if (run_.selectedReviewChoice == choice)
        return;
    run_.selectedReviewChoice = choice;
    emit selectedReviewChoiceChanged();
}

void KestravaViewModel::setOperationMode(std::optional<SortOperationMode> mode)
{
    if (run_.selectedOperationMode == mode)
        return;
    run_.selectedOperationMode = mode;
    emit selectedOperationModeChanged();
}

void KestravaViewModel::setDestinationBaseFolder(const QString& path)
{
    setDestinationBase(path.isEmpty() ? std::nullopt : std::optional(FileUrl::fromLocalPath(path)));
}

void KestravaViewModel::updateRunFolderName(const QString& name)
{
    setRunFolderNameValue(name);
}

void KestravaViewModel::selectOperationMode(const QString& mode)
{
    if (const auto value = enumFromRaw<SortOperationMode>(mode))
        selectOperationMode(*value);
}

void KestravaViewModel::selectOperationMode(SortOperationMode mode)
{
    setOperationMode(mode);
    // A newly chosen mode is a deliberate choice: an older session's doubt is resolved.
    if (session_)
        session_->requiresModeSelection = false;
}

void KestravaViewModel::setDestructiveConfirmationAccepted(bool accepted)
{
    setFlag(run_.destructiveConfirmationAccepted, accepted, &KestravaViewModel::destructiveConfirmationAcceptedChanged);
}

void KestravaViewModel::setTrashCommitConfirmationAccepted(bool accepted)
{
    setFlag(run_.trashCommitConfirmationAccepted, accepted, &KestravaViewModel::trashCommitConfirmationAcceptedChanged);
}

void KestravaViewModel::setInspectorVisible(bool visible)
{
    setFlag(inspectorVisible_, visible, &KestravaViewModel::inspectorVisibleChanged);
}

QDateTime KestravaViewModel::now() const
{
    return services_.clock();
}

bool KestravaViewModel::canStartReview() const
{
    return sourceFolder_ && destinationBaseFolder_ && run_.selectedReviewChoice && run_.selectedOperationMode
        && !DestinationPlanner::sanitize(runFolderName_).isEmpty();
}

// ---- Reset -------------------------------------------------------------------------------

void KestravaViewModel::resetTransientState()
{
    cancelMetadataTask();

    // The open session keeps no staged trash of a run that is gone.
    if (session_)
        session_->trashPreparation.reset();
    core_.resetRun();
    for (auto signal : {&KestravaViewModel::photosChanged, 
                         &KestravaViewModel::selectedReviewChoiceChanged,
                        &KestravaViewModel::selectedOperationModeChanged,
                        &KestravaViewModel::jpegAvailableCountChanged, &KestravaViewModel::rawAvailableCountChanged,
                        &KestravaViewModel::ignoredPhotoCountChanged, &KestravaViewModel::skippedEntryCountChanged,
                         &KestravaViewModel::destinationFolderChanged,
                        
                        
                        &KestravaViewModel::destructiveConfirmationAcceptedChanged,
                        
                        
                        &KestravaViewModel::trashCommitConfirmationAcceptedChanged,
                        
                        
                        &KestravaViewModel::showFormatChoiceChanged, &KestravaViewModel::showPairingChoiceChanged,
                        &KestravaViewModel::pairingWasTransferredChanged})
        emit(this->*signal)();
}

void KestravaViewModel::newSort()
{
    execution_.cancelExecutionTask();
    cancelIfRunning(scanTask_);
    resetTransientState();
    setSourceFolder(std::nullopt);
    setDestinationBase(std::nullopt);
    setDestinationFolder(std::nullopt);
    // The run is over: later saves must not write into its session.
    releaseSessionLock();
    session_.reset();
    // A scan that was running is abandoned; its result will be dropped.
    setFlag(isLoading_, false, &KestravaViewModel::isLoadingChanged);
    setRoute(AppRoute::welcome);
}

} // namespace kestrava
