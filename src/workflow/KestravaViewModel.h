#pragma once

// The root of the window's state, from folder selection to the result: QML sees it as the
// `ViewModel` singleton. The state every part shares (services, the run, the route, the one
// alert) is a WorkflowCore; the parts are stages exposed as constant properties (`review`:
// ReviewStage, `audit`: AuditStage, `session`: SessionStage, `setup`: SetupStage, `execution`:
// ExecutionStage, `trash`: TrashStage). Loading a folder and the session document still live
// here until they are split the same way.
//
// Contract:
// - Lives on the GUI thread; every property is read and written there only. Background work
//   (scan, capture dates, snapshots) hands its result back through continuations on this
//   object and is dropped when the run it was started for is gone (WorkflowCore::generation).
// - Owns at most one task of each kind (scan, capture dates); starting one cancels the previous.
//
// The implementation is split by concern: KestravaViewModel.cpp (setters, reset),
// ViewModelLoading.cpp (folder scan and preparation), ViewModelSession.cpp (snapshots,
// applying a session), ViewModelRecovery.cpp (applying a recovery list).

#include "ReviewIndex.h"
#include "AuditStage.h"
#include "DecisionJournal.h"
#include "ExecutionStage.h"
#include "ReviewStage.h"
#include "RunState.h"
#include "SessionStage.h"
#include "SeriesStage.h"
#include "CompareStage.h"
#include "SetupStage.h"
#include "TrashStage.h"
#include "WorkflowCore.h"
#include "WorkflowServices.h"
#include "model/SortOptions.h"
#include "session/RecoveryCsv.h"
#include "session/SessionEvent.h"
#include "session/SortSession.h"
#include "execution/SortExecutionPlan.h"
#include "execution/SortProgress.h"
#include "execution/StoragePreflight.h"

#include <QFuture>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QVariantMap>

namespace kestrava {

// One opened folder: what the scan found and the destination base proposed for it.
struct FolderScan {
    PhotoScanOutcome outcome;
    FileUrl proposedDestinationBase;
};

class KestravaViewModel : public QObject {
    Q_OBJECT

    // The stages, each with its own properties and intents.
    Q_PROPERTY(kestrava::AuditStage* audit READ audit CONSTANT)
    Q_PROPERTY(kestrava::ReviewStage* review READ review CONSTANT)
    Q_PROPERTY(kestrava::SessionStage* session READ sessionStage CONSTANT)
    Q_PROPERTY(kestrava::SetupStage* setup READ setup CONSTANT)
    Q_PROPERTY(kestrava::ExecutionStage* execution READ execution CONSTANT)
    Q_PROPERTY(kestrava::TrashStage* trash READ trash CONSTANT)
    Q_PROPERTY(kestrava::SeriesStage* series READ series CONSTANT)
    Q_PROPERTY(kestrava::CompareStage* compare READ compare CONSTANT)

    // Published state, in the order of the workflow's state table.
    // The route's number; QML names it with the AppRoute enum of the Kestrava module.
    Q_PROPERTY(int route READ routeNumber NOTIFY routeChanged)
    Q_PROPERTY(int photoCount READ photoCount NOTIFY photosChanged)
    Q_PROPERTY(QString sourceFolder READ sourceFolderPath NOTIFY sourceFolderChanged)
    Q_PROPERTY(QString destinationBaseFolder READ destinationBaseFolderPath WRITE setDestinationBaseFolder NOTIFY destinationBaseFolderChanged)
    Q_PROPERTY(QString destinationFolder READ destinationFolderPath NOTIFY destinationFolderChanged)
    Q_PROPERTY(QString runFolderName READ runFolderName WRITE updateRunFolderName NOTIFY runFolderNameChanged)
    Q_PROPERTY(QString selectedOperationMode READ selectedOperationModeName WRITE selectOperationMode NOTIFY selectedOperationModeChanged)
    Q_PROPERTY(bool isLoading READ isLoading NOTIFY isLoadingChanged)
    Q_PROPERTY(bool isPreparingMetadata READ isPreparingMetadata NOTIFY isPreparingMetadataChanged)
    Q_PROPERTY(QString alertMessage READ alertText NOTIFY alertMessageChanged)
    Q_PROPERTY(int jpegAvailableCount READ jpegAvailableCount NOTIFY jpegAvailableCountChanged)
    Q_PROPERTY(int rawAvailableCount READ rawAvailableCount NOTIFY rawAvailableCountChanged)
    Q_PROPERTY(int ignoredPhotoCount READ ignoredPhotoCount NOTIFY ignoredPhotoCountChanged)
    Q_PROPERTY(QString selectedReviewChoice READ selectedReviewChoiceName NOTIFY selectedReviewChoiceChanged)
    Q_PROPERTY(bool destructiveConfirmationAccepted READ destructiveConfirmationAccepted WRITE setDestructiveConfirmationAccepted NOTIFY destructiveConfirmationAcceptedChanged)
    Q_PROPERTY(bool trashCommitConfirmationAccepted READ trashCommitConfirmationAccepted WRITE setTrashCommitConfirmationAccepted NOTIFY trashCommitConfirmationAcceptedChanged)
    Q_PROPERTY(bool inspectorVisible READ inspectorVisible WRITE setInspectorVisible NOTIFY inspectorVisibleChanged)
    Q_PROPERTY(bool showFormatChoice READ showFormatChoice NOTIFY showFormatChoiceChanged)
    Q_PROPERTY(bool showPairingChoice READ showPairingChoice NOTIFY showPairingChoiceChanged)
    Q_PROPERTY(bool pairingWasTransferred READ pairingWasTransferred NOTIFY pairingWasTransferredChanged)

    // Derived values.
    Q_PROPERTY(bool canStartReview READ canStartReview NOTIFY canStartReviewChanged)
    // What the scan left out, and where the results would land (ViewModelLoading.cpp).
    Q_PROPERTY(int skippedEntryCount READ skippedEntryCount NOTIFY skippedEntryCountChanged)
    Q_PROPERTY(QString skippedEntriesNote READ skippedEntriesNoteText NOTIFY skippedEntryCountChanged)
    Q_PROPERTY(QString destinationBaseWarning READ destinationBaseWarning NOTIFY setupWarningsChanged)
    // Session ownership and run guards.
    Q_PROPERTY(QString executionWaitText READ executionWaitText NOTIFY isPreparingMetadataChanged)

public:
    explicit KestravaViewModel(WorkflowServices services = {}, QObject* parent = nullptr);
    ~KestravaViewModel() override;

    // ---- Typed state -----------------------------------------------------------------------
    ReviewStage* review() { return &review_; }
    const ReviewStage* review() const { return &review_; }
    AuditStage* audit() { return &audit_; }
    const AuditStage* audit() const { return &audit_; }
    SessionStage* sessionStage() { return &sessionStage_; }
    const SessionStage* sessionStage() const { return &sessionStage_; }
    SetupStage* setup() { return &setup_; }
    const SetupStage* setup() const { return &setup_; }
    ExecutionStage* execution() { return &execution_; }
    const ExecutionStage* execution() const { return &execution_; }
    TrashStage* trash() { return &trash_; }
    const TrashStage* trash() const { return &trash_; }
    SeriesStage* series() { return &series_; }
    const SeriesStage* series() const { return &series_; }
    CompareStage* compare() { return &compare_; }
    AppRoute route() const { return core_.route(); }
    QString routeName() const { return rawValue(core_.route()); }
    int routeNumber() const { return int(core_.route()); }
    const QList<PhotoItem>& photos() const { return run_.photos; }
    int photoCount() const { return int(run_.photos.size()); }
    const QList<ReviewGroup>& reviewGroups() const { return run_.reviewGroups; }
    const QList<PhotoItem>& passThroughPhotos() const { return run_.passThroughPhotos; }
    const QList<PhotoItem>& scannedInventory() const { return run_.scannedInventory; }
    const std::optional<FileUrl>& sourceFolder() const { return sourceFolder_; }
    const std::optional<FileUrl>& destinationBaseFolder() const { return destinationBaseFolder_; }
    const std::optional<FileUrl>& destinationFolder() const { return run_.destinationFolder; }
    QString sourceFolderPath() const { return sourceFolder_ ? sourceFolder_->path() : QString(); }
    QString destinationBaseFolderPath() const { return destinationBaseFolder_ ? destinationBaseFolder_->path() : QString(); }
    QString destinationFolderPath() const { return run_.destinationFolder ? run_.destinationFolder->path() : QString(); }
    const QString& runFolderName() const { return runFolderName_; }
    std::optional<SortOperationMode> selectedOperationMode() const { return run_.selectedOperationMode; }
    QString selectedOperationModeName() const { return run_.selectedOperationMode ? rawValue(*run_.selectedOperationMode) : QString(); }
    bool isLoading() const { return isLoading_; }
    bool isPreparingMetadata() const { return isPreparingMetadata_; }
    std::optional<QString> alertMessage() const { return core_.alert(); }
    QString alertText() const { return core_.alert().value_or(QString()); }
    int jpegAvailableCount() const { return run_.jpegAvailableCount; }
    int rawAvailableCount() const { return run_.rawAvailableCount; }
    int ignoredPhotoCount() const { return run_.ignoredPhotoCount; }
    std::optional<FormatReviewChoice> selectedReviewChoice() const { return run_.selectedReviewChoice; }
    QString selectedReviewChoiceName() const { return run_.selectedReviewChoice ? rawValue(*run_.selectedReviewChoice) : QString(); }
    bool destructiveConfirmationAccepted() const { return run_.destructiveConfirmationAccepted; }
    bool trashCommitConfirmationAccepted() const { return run_.trashCommitConfirmationAccepted; }
    bool inspectorVisible() const { return inspectorVisible_; }
    bool showFormatChoice() const { return run_.showFormatChoice; }
    bool showPairingChoice() const { return run_.showPairingChoice; }
    bool pairingWasTransferred() const { return run_.pairingWasTransferred; }
    // The open session document of this run (its photos are filled in when a snapshot is made).
    const std::optional<SortSession>& session() const { return session_; }
    bool metadataWasEnriched() const { return run_.metadataWasEnriched; }
    // ---- Session ownership and run guards ----------------------------------------------------
    // A run sorts by capture date only once every item it sorts had its dates read (or the
    // reading gave up); until then it does not start.
    bool isWaitingForCaptureDates() const;
    // What the confirmation screen shows while it waits; empty when nothing is awaited.
    QString executionWaitText() const;

    // ---- Derived ---------------------------------------------------------------------------
    bool canStartReview() const;

    // ---- Setup (setters bound by the setup screen) -----------------------------------------
    Q_INVOKABLE void setDestinationBaseFolder(const QString& path);
    Q_INVOKABLE void updateRunFolderName(const QString& name);
    Q_INVOKABLE void selectOperationMode(const QString& mode);
    void selectOperationMode(SortOperationMode mode);
    void setDestructiveConfirmationAccepted(bool accepted);
    void setTrashCommitConfirmationAccepted(bool accepted);
    void setInspectorVisible(bool visible);
    Q_INVOKABLE void dismissAlert();
    // Shows `message` in the window's one alert, replacing the one on screen.
    void raiseAlert(const QString& message) { core_.raiseAlert(message); }

    // ---- Flow ------------------------------------------------------------------------------
    Q_INVOKABLE void newSort();
    // Scans the folder off the GUI thread and prepares the setup screen.
    Q_INVOKABLE void load(const QString& folderPath);
    void load(const FileUrl& folder);
    Q_INVOKABLE void chooseFormatReview(const QString& choice);
    void chooseFormatReview(FormatReviewChoice choice);
    Q_INVOKABLE void startReviewing();
    // ---- Session (documents, resume and recovery lists: SessionStage) ---------------------
    // False, with the alert, when another process writes that session at this moment.
    bool apply(const SortSession& session);
    std::optional<SortSession> makeSessionSnapshot(std::optional<SortSessionStatus> status = std::nullopt) const;
    // Hands a snapshot to the store; `session` and `lastSavedAt` follow on this thread, a
    // failure becomes the alert. The returned future is the store's own: wait on it or poll
    // it, but attach no continuation (it would replace the bookkeeping).
    QFuture<void> saveSessionSnapshot(std::optional<SortSessionStatus> status = std::nullopt);
    // Runs on a worker thread.
    static FolderScan scanFolder(const WorkflowServices& services, const FileUrl& folder);
    // Throws SessionStoreError (ambiguous row) without changing anything.
    void applyRecovery(const QList<RecoveryCSVRow>& rows, const QList<PhotoItem>& inventory, const FileUrl& sourceFolder,
                       int skippedEntryCount = 0, std::optional<FileUrl> proposedDestinationBase = std::nullopt);
    // Saves the final snapshot after every write already queued; the shell waits for the
    // returned future before the process ends.
    QFuture<void> flushSessionBeforeTermination();
    Q_INVOKABLE void flushSessionBeforeTerminationAndWait();

    // ---- Scan gaps and setup warnings (ViewModelLoading.cpp) -------------------------------
    // Entries the scan could not take; their files stay in the source folder whatever the run does.
    int skippedEntryCount() const { return run_.skippedEntryCount; }
    // The German note naming them; empty when nothing was left out.
    QString skippedEntriesNoteText() const;
    // Non-empty when the destination base lies inside (or is) the source folder.
    QString destinationBaseWarning() const;

signals:
    void skippedEntryCountChanged();
    void setupWarningsChanged();
    void routeChanged();
    void photosChanged();
    void sourceFolderChanged();
    void destinationBaseFolderChanged();
    void destinationFolderChanged();
    void runFolderNameChanged();
    void selectedOperationModeChanged();
    void isLoadingChanged();
    void isPreparingMetadataChanged();
    void alertMessageChanged();
    void jpegAvailableCountChanged();
    void rawAvailableCountChanged();
    void ignoredPhotoCountChanged();
    void selectedReviewChoiceChanged();
    void destructiveConfirmationAcceptedChanged();
    void trashCommitConfirmationAcceptedChanged();
    void inspectorVisibleChanged();
    void showFormatChoiceChanged();
    void showPairingChoiceChanged();
    void pairingWasTransferredChanged();
    void canStartReviewChanged();
    // The metadata task finished and its dates were merged.
    void metadataEnriched();

private:
    // KestravaViewModel.cpp
    void resetTransientState();
    void setRoute(AppRoute route);
    void setAlert(std::optional<QString> message);
    void setSourceFolder(std::optional<FileUrl> folder);
    void setDestinationBase(std::optional<FileUrl> folder);
    void setDestinationFolder(std::optional<FileUrl> folder);
    void setRunFolderNameValue(const QString& name);
    void setSelectedReviewChoice(std::optional<FormatReviewChoice> choice);
    void setOperationMode(std::optional<SortOperationMode> mode);
    void setFlag(bool& field, bool value, void (KestravaViewModel::*signal)());
    void setCount(int& field, int value, void (KestravaViewModel::*signal)());
    void setSkippedEntryCount(int count);
    QDateTime now() const;

    // ViewModelLoading.cpp
    void prepareScannedPhotos(const QList<PhotoItem>& items);
    void applyReviewChoice(FormatReviewChoice choice);
    // Empty on success, else the failure text.
    std::optional<QString> resolveRunFolderIfNeeded(const FileUrl& base);
    void startMetadataEnrichment();
    void cancelMetadataTask();

    // ViewModelSession.cpp
    void createSession();
    // Lets other processes take the open session, unless it is `keep`.
    void releaseSessionLock(std::optional<QUuid> keep = std::nullopt);

    // Declared first: every stage and reference below is built on it.
    WorkflowCore core_;
    WorkflowServices& services_ = core_.services;
    // Everything of the current run; reset as a whole.
    RunState& run_ = core_.run;
    AuditStage audit_{core_, this};
    // The journal and the review before the stages that follow their signals; the session
    // they are given is declared below and not touched while they are built.
    DecisionJournal journal_{core_, session_, *this};
    ReviewStage review_{core_, *this, journal_};
    // Before the session stage, which follows its applying flag; the session it is given is
    // declared below and not touched while it is built.
    ExecutionStage execution_{core_, *this, session_};
    TrashStage trash_{core_, *this, execution_, session_};
    SessionStage sessionStage_{core_, *this};
    SetupStage setup_{core_, this};
    SeriesStage series_{*this, this};
    CompareStage compare_{*this, this};

    std::optional<FileUrl> sourceFolder_;
    std::optional<FileUrl> destinationBaseFolder_;
    QString runFolderName_;
    bool isLoading_ = false;
    bool isPreparingMetadata_ = false;
    bool inspectorVisible_ = true;

    std::optional<SortSession> session_;

    // Owned tasks. A continuation checks core_.generation(): when it is no longer the one it
    // captured, the run was reset and the continuation must not touch anything.
    QFuture<FolderScan> scanTask_;
    QFuture<QList<PhotoItem>> metadataTask_;
};

} // namespace kestrava
