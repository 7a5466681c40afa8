#pragma once

// The root of the window's state: QML sees it as the `ViewModel` singleton. The state every
// part shares (services, the run, the route, the one alert) is a WorkflowCore; the parts are
// stages exposed as constant properties (`loading`: LoadingStage, `review`: ReviewStage,
// `audit`: AuditStage, `session`: SessionStage, `setup`: SetupStage, `execution`:
// ExecutionStage, `trash`: TrashStage). The root itself keeps what outlives a stage: the
// folders and the run's name and mode, the confirmations, and the open session document.
//
// Contract:
// - Lives on the GUI thread; every property is read and written there only. Snapshots hand
//   their result back through continuations on this object and are dropped when the run they
//   were made for is gone (WorkflowCore::generation).
// - `resetRun` starts a run from scratch: every stage hears it through the core.
//
// The implementation is split by concern: KestravaViewModel.cpp (setters, reset, new sort),
// ViewModelSession.cpp (snapshots, applying a session), ViewModelRecovery.cpp (applying a
// recovery list).

#include "AuditStage.h"
#include "DecisionJournal.h"
#include "ExecutionStage.h"
#include "LoadingStage.h"
#include "ReviewStage.h"
#include "SessionStage.h"
#include "SeriesStage.h"
#include "CompareStage.h"
#include "SetupStage.h"
#include "TrashStage.h"
#include "WorkflowCore.h"
#include "session/RecoveryCsv.h"
#include "session/SortSession.h"

#include <QFuture>
#include <QObject>

namespace kestrava {

class KestravaViewModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(kestrava::LoadingStage* loading READ loading CONSTANT)
    Q_PROPERTY(kestrava::ReviewStage* review READ review CONSTANT)
    Q_PROPERTY(kestrava::AuditStage* audit READ audit CONSTANT)
    Q_PROPERTY(kestrava::SessionStage* session READ sessionStage CONSTANT)
    Q_PROPERTY(kestrava::SetupStage* setup READ setup CONSTANT)
    Q_PROPERTY(kestrava::ExecutionStage* execution READ execution CONSTANT)
    Q_PROPERTY(kestrava::TrashStage* trash READ trash CONSTANT)
    Q_PROPERTY(kestrava::SeriesStage* series READ series CONSTANT)
    Q_PROPERTY(kestrava::CompareStage* compare READ compare CONSTANT)
    // The route's number; QML names it with the AppRoute enum of the Kestrava module.
    Q_PROPERTY(int route READ routeNumber NOTIFY routeChanged)
    Q_PROPERTY(QString alertMessage READ alertText NOTIFY alertMessageChanged)
    Q_PROPERTY(QString sourceFolder READ sourceFolderPath NOTIFY sourceFolderChanged)
    Q_PROPERTY(QString sourceFolderName READ sourceFolderName NOTIFY sourceFolderChanged)
    Q_PROPERTY(QString destinationBaseFolderName READ destinationBaseFolderName NOTIFY destinationBaseFolderChanged)
    Q_PROPERTY(QString destinationBaseFolder READ destinationBaseFolderPath WRITE setDestinationBaseFolder NOTIFY destinationBaseFolderChanged)
    Q_PROPERTY(QString destinationFolder READ destinationFolderPath NOTIFY destinationFolderChanged)
    Q_PROPERTY(QString runFolderName READ runFolderName WRITE updateRunFolderName NOTIFY runFolderNameChanged)
    Q_PROPERTY(int selectedOperationMode READ selectedOperationModeNumber NOTIFY selectedOperationModeChanged)
    Q_PROPERTY(bool destructiveConfirmationAccepted READ destructiveConfirmationAccepted WRITE setDestructiveConfirmationAccepted NOTIFY destructiveConfirmationAcceptedChanged)
    Q_PROPERTY(bool trashCommitConfirmationAccepted READ trashCommitConfirmationAccepted WRITE setTrashCommitConfirmationAccepted NOTIFY trashCommitConfirmationAcceptedChanged)
    Q_PROPERTY(bool inspectorVisible READ inspectorVisible WRITE setInspectorVisible NOTIFY inspectorVisibleChanged)
    // Non-empty when the destination base lies inside (or is) the source folder.
    Q_PROPERTY(QString destinationBaseWarning READ destinationBaseWarning NOTIFY destinationBaseWarningChanged)

public:
    explicit KestravaViewModel(WorkflowServices services = {}, QObject* parent = nullptr);
    ~KestravaViewModel() override;

    LoadingStage* loading() { return &loading_; }
    const LoadingStage* loading() const { return &loading_; }
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
    const CompareStage* compare() const { return &compare_; }

    AppRoute route() const { return core_.route(); }
    int routeNumber() const { return int(core_.route()); }
    std::optional<QString> alertMessage() const { return core_.alert(); }
    QString alertText() const { return core_.alert().value_or(QString()); }
    Q_INVOKABLE void dismissAlert() { core_.dismissAlert(); }
    // Queues `message` in the window's one alert.
    void raiseAlert(const QString& message) { core_.raiseAlert(message); }

    const std::optional<FileUrl>& sourceFolder() const { return sourceFolder_; }
    const std::optional<FileUrl>& destinationBaseFolder() const { return destinationBaseFolder_; }
    const std::optional<FileUrl>& destinationFolder() const { return core_.run.destinationFolder; }
    QString sourceFolderPath() const { return sourceFolder_ ? sourceFolder_->path() : QString(); }
    QString destinationBaseFolderPath() const { return destinationBaseFolder_ ? destinationBaseFolder_->path() : QString(); }
    QString sourceFolderName() const { return sourceFolder_ ? sourceFolder_->fileName() : QString(); }
    QString destinationBaseFolderName() const { return destinationBaseFolder_ ? destinationBaseFolder_->fileName() : QString(); }
    QString destinationFolderPath() const { return destinationFolder() ? destinationFolder()->path() : QString(); }
    const QString& runFolderName() const { return runFolderName_; }
    std::optional<SortOperationMode> selectedOperationMode() const { return core_.run.selectedOperationMode; }
    int selectedOperationModeNumber() const { return choiceNumber(core_.run.selectedOperationMode); }
    bool destructiveConfirmationAccepted() const { return core_.run.destructiveConfirmationAccepted; }
    bool trashCommitConfirmationAccepted() const { return core_.run.trashCommitConfirmationAccepted; }
    bool inspectorVisible() const { return inspectorVisible_; }
    QString destinationBaseWarning() const;

    void setSourceFolder(std::optional<FileUrl> folder);
    void setDestinationBase(std::optional<FileUrl> folder);
    Q_INVOKABLE void setDestinationBaseFolder(const QString& path);
    void setDestinationFolder(std::optional<FileUrl> folder);
    Q_INVOKABLE void updateRunFolderName(const QString& name);
    Q_INVOKABLE void selectOperationMode(kestrava::OperationMode::Value mode) { selectOperationMode(OperationMode::toModel(mode)); }
    void selectOperationMode(SortOperationMode mode);
    void setDestructiveConfirmationAccepted(bool accepted);
    void setTrashCommitConfirmationAccepted(bool accepted);
    void setInspectorVisible(bool visible);

    // ---- Runs and the session document (ViewModelSession.cpp) ------------------------------
    Q_INVOKABLE void newSort();
    // Starts a run from scratch; the folders, names and the session document stay.
    void resetRun();
    // The open session document of this run (its photos are filled in when a snapshot is made).
    const std::optional<SortSession>& session() const { return session_; }
    // A fresh session for the source folder, replacing (and releasing) the open one.
    void openSession();
    // Releases the open session to other processes and forgets it.
    void closeSession();
    // False, with the alert, when another process writes that session at this moment.
    bool apply(const SortSession& session);
    std::optional<SortSession> makeSessionSnapshot(std::optional<SortSessionStatus> status = std::nullopt) const;
    // Hands a snapshot to the store; `session` and `lastSavedAt` follow on this thread, a
    // failure becomes the alert. The returned future is the store's own: wait on it or poll
    // it, but attach no continuation (it would replace the bookkeeping).
    QFuture<void> saveSessionSnapshot(std::optional<SortSessionStatus> status = std::nullopt);
    // Throws SessionStoreError (ambiguous row) without changing anything.
    void applyRecovery(const QList<RecoveryCSVRow>& rows, const QList<PhotoItem>& inventory, const FileUrl& sourceFolder,
                       int skippedEntryCount = 0, std::optional<FileUrl> proposedDestinationBase = std::nullopt);
    // Saves the final snapshot after every write already queued; the shell waits for the
    // returned future before the process ends.
    QFuture<void> flushSessionBeforeTermination();
    Q_INVOKABLE void flushSessionBeforeTerminationAndWait();

signals:
    void routeChanged();
    void alertMessageChanged();
    void sourceFolderChanged();
    void destinationBaseFolderChanged();
    void destinationFolderChanged();
    void runFolderNameChanged();
    void selectedOperationModeChanged();
    void destructiveConfirmationAcceptedChanged();
    void trashCommitConfirmationAcceptedChanged();
    void inspectorVisibleChanged();
    void destinationBaseWarningChanged();

private:
    void setFlag(bool& field, bool value, void (KestravaViewModel::*signal)());
    void setOperationMode(std::optional<SortOperationMode> mode);
    // Lets other processes take the open session, unless it is `keep`.
    void releaseSessionLock(std::optional<QUuid> keep = std::nullopt);

    // Declared first: every stage and reference below is built on it.
    WorkflowCore core_;
    // The stages in the order they follow each other's signals; the session they are given
    // is declared below and not touched while they are built.
    AuditStage audit_{core_, this};
    DecisionJournal journal_{core_, session_, *this};
    ReviewStage review_{core_, *this, journal_};
    LoadingStage loading_{core_, *this};
    ExecutionStage execution_{core_, *this, session_};
    TrashStage trash_{core_, *this, execution_, session_};
    SessionStage sessionStage_{core_, *this};
    SetupStage setup_{core_, this};
    SeriesStage series_{*this, this};
    CompareStage compare_{*this, this};

    std::optional<FileUrl> sourceFolder_;
    std::optional<FileUrl> destinationBaseFolder_;
    QString runFolderName_;
    bool inspectorVisible_ = true;
    std::optional<SortSession> session_;
};

} // namespace kestrava
