#include "KestravaViewModel.h"
#include "model/DestinationPlanner.h"
#include "model/Json.h"
#include "scanning/PhotoInventoryScanner.h"
#include "execution/ResumableSortExecutor.h"
#include "session/SessionStore.h"
#include "trash/FreedesktopTrash.h"
#include "trash/TrashLookup.h"

#include "platform/VolumeInfo.h"

#include <QDir>
#include <QFileInfo>
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
    if (!core_.services.scanFolder)
        core_.services.scanFolder = [](const FileUrl& folder) { return PhotoInventoryScanner::scanDetailed(folder); };
    if (!core_.services.isOnRemovableVolume)
        core_.services.isOnRemovableVolume = [](const QString& path) {
            const auto facts = volumeFacts(path);
            return facts && facts->isRemovable;
        };
    if (core_.services.picturesFolder.isEmpty())
        core_.services.picturesFolder = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
    connect(this, &KestravaViewModel::sourceFolderChanged, this, &KestravaViewModel::destinationBaseWarningChanged);
    connect(this, &KestravaViewModel::destinationBaseFolderChanged, this,
            &KestravaViewModel::destinationBaseWarningChanged);
    if (!core_.services.clock)
        core_.services.clock = [] { return QDateTime::currentDateTimeUtc(); };
    if (!core_.services.metadata)
        core_.services.metadata = std::make_shared<NoMetadataEnrichment>();
    if (!core_.services.exists)
        core_.services.exists = DestinationPlanner::existsOnDisk;

    if (!core_.services.trash.service)
        core_.services.trash.service = std::make_shared<FreedesktopTrashService>();
    if (!core_.services.trash.capability)
        core_.services.trash.capability = std::make_shared<FreedesktopTrashCapabilityChecker>();
    if (!core_.services.trash.receipts)
        core_.services.trash.receipts = std::make_shared<FreedesktopTrashReceipts>();

    // Staged safety copies keep a second run from starting.
    connect(&trash_, &TrashStage::trashPreparationChanged, &execution_, &ExecutionStage::canExecuteChanged);

    sessionStage_.discoverResumable();
}

KestravaViewModel::~KestravaViewModel()
{
    // The execution thread posts to the flow too (trash steps); it must end first.
    execution_.cancelExecutionTask();
}

// ---- Setters -----------------------------------------------------------------------------

void KestravaViewModel::setFlag(bool& field, bool value, void (KestravaViewModel::*signal)())
{
    if (field == value)
        return;
    field = value;
    emit(this->*signal)();
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
    if (core_.run.destinationFolder == folder)
        return;
    core_.run.destinationFolder = std::move(folder);
    emit destinationFolderChanged();
}

void KestravaViewModel::setOperationMode(std::optional<SortOperationMode> mode)
{
    if (core_.run.selectedOperationMode == mode)
        return;
    core_.run.selectedOperationMode = mode;
    emit selectedOperationModeChanged();
}

void KestravaViewModel::setDestinationBaseFolder(const QString& path)
{
    setDestinationBase(path.isEmpty() ? std::nullopt : std::optional(FileUrl::fromLocalPath(path)));
}

void KestravaViewModel::updateRunFolderName(const QString& name)
{
    if (runFolderName_ == name)
        return;
    runFolderName_ = name;
    emit runFolderNameChanged();
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
    setFlag(core_.run.destructiveConfirmationAccepted, accepted, &KestravaViewModel::destructiveConfirmationAcceptedChanged);
}

void KestravaViewModel::setTrashCommitConfirmationAccepted(bool accepted)
{
    setFlag(core_.run.trashCommitConfirmationAccepted, accepted, &KestravaViewModel::trashCommitConfirmationAcceptedChanged);
}

void KestravaViewModel::setInspectorVisible(bool visible)
{
    setFlag(inspectorVisible_, visible, &KestravaViewModel::inspectorVisibleChanged);
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

// ---- Runs --------------------------------------------------------------------------------

void KestravaViewModel::resetRun()
{
    // The open session keeps no staged trash of a run that is gone.
    if (session_)
        session_->trashPreparation.reset();
    core_.resetRun();
    for (auto signal : {&KestravaViewModel::selectedOperationModeChanged, &KestravaViewModel::destinationFolderChanged,
                        &KestravaViewModel::destructiveConfirmationAcceptedChanged,
                        &KestravaViewModel::trashCommitConfirmationAcceptedChanged})
        emit(this->*signal)();
}

void KestravaViewModel::newSort()
{
    execution_.cancelExecutionTask();
    // A scan that was running is abandoned; its result will be dropped.
    loading_.abandonScan();
    resetRun();
    setSourceFolder(std::nullopt);
    setDestinationBase(std::nullopt);
    setDestinationFolder(std::nullopt);
    // The run is over: later saves must not write into its session.
    closeSession();
    core_.setRoute(AppRoute::welcome);
}

} // namespace kestrava
