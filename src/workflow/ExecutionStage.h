#pragma once

// Running the sort as the person follows it: whether it may start, the storage estimate, the
// progress and its title, the result afterwards with its report, and the ways to look at the
// result on disk. It owns the one execution thread: runs, trash staging and trash commits all
// work there and never overlap, so the trash step starts its own tasks through this stage.
//
// Contract:
// - GUI thread only. What the thread reports hops back here before it touches published
//   state, and a report of a run that was reset meanwhile is dropped (WorkflowCore::generation).
// - The session document stays with the flow; the stage updates its execution records and
//   status, because the journal it writes them to is the session's.

#include "RunScope.h"
#include "WindowWording.h"
#include "WorkflowCore.h"
#include "model/SortOptions.h"
#include "session/SortSession.h"
#include "execution/SortExecutionPlan.h"
#include "execution/SortProgress.h"
#include "execution/StoragePreflight.h"

#include <QFuture>
#include <QObject>
#include <QThreadPool>

#include <functional>
#include <memory>
#include <optional>

namespace kestrava {

class CancellationFlag;
class KestravaViewModel;
struct ExecutionOutcome;

class ExecutionStage : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isApplying READ isApplying NOTIFY isApplyingChanged)
    Q_PROPERTY(bool isCheckingStorage READ isCheckingStorage NOTIFY isCheckingStorageChanged)
    Q_PROPERTY(bool canExecute READ canExecute NOTIFY canExecuteChanged)
    Q_PROPERTY(QString progressTitle READ progressTitle NOTIFY progressTitleChanged)
    // The progress of the running task, as the screens show it; "–" where nothing is known yet.
    Q_PROPERTY(bool hasProgress READ hasProgress NOTIFY sortProgressChanged)
    Q_PROPERTY(double progressFraction READ progressFraction NOTIFY sortProgressChanged)
    Q_PROPERTY(QString phaseText READ phaseText NOTIFY sortProgressChanged)
    Q_PROPERTY(QString phaseProgressText READ phaseProgressText NOTIFY sortProgressChanged)
    Q_PROPERTY(QString fileProgressText READ fileProgressText NOTIFY sortProgressChanged)
    Q_PROPERTY(QString byteProgressText READ byteProgressText NOTIFY sortProgressChanged)
    Q_PROPERTY(QString transferRateText READ transferRateText NOTIFY sortProgressChanged)
    Q_PROPERTY(QString timeLeftText READ timeLeftText NOTIFY sortProgressChanged)
    Q_PROPERTY(QString currentFileName READ currentFileName NOTIFY sortProgressChanged)
    // The last run's result.
    Q_PROPERTY(bool hasResult READ hasResult NOTIFY lastResultChanged)
    Q_PROPERTY(int pendingCount READ pendingCount NOTIFY lastResultChanged)
    Q_PROPERTY(QString completedHeadline READ completedHeadline NOTIFY lastResultChanged)
    Q_PROPERTY(QString pendingText READ pendingText NOTIFY lastResultChanged)
    Q_PROPERTY(QList<ResultCard> resultCards READ resultCards NOTIFY lastResultChanged)
    // The confirmation's storage line and the chosen mode in words.
    Q_PROPERTY(QString storageCheckText READ storageCheckText NOTIFY storageCheckTextChanged)
    Q_PROPERTY(bool hasStorageEstimate READ hasStorageEstimate NOTIFY storageCheckTextChanged)
    Q_PROPERTY(bool storageInsufficient READ storageInsufficient NOTIFY storageCheckTextChanged)
    Q_PROPERTY(QString modeTitle READ modeTitle NOTIFY runScopeChanged)
    Q_PROPERTY(QString modeDescription READ modeDescription NOTIFY runScopeChanged)
    Q_PROPERTY(QString effectText READ effectText NOTIFY runScopeChanged)
    // What the run will touch, as the confirmation names it.
    Q_PROPERTY(QString runScopeText READ runScopeText NOTIFY runScopeChanged)
    Q_PROPERTY(QStringList runScopeLines READ runScopeLines NOTIFY runScopeChanged)

public:
    ExecutionStage(WorkflowCore& core, KestravaViewModel& flow, std::optional<SortSession>& session);
    ~ExecutionStage() override;

    bool isApplying() const { return core_.run.isApplying; }
    bool isCheckingStorage() const { return core_.run.isCheckingStorage; }
    const std::optional<SortResult>& lastSortResult() const { return core_.run.lastResult; }
    const std::optional<SortProgress>& progress() const { return core_.run.sortProgress; }
    const std::optional<StorageEstimate>& currentStorageEstimate() const { return core_.run.storageEstimate; }
    bool hasProgress() const { return run_.sortProgress.has_value(); }
    double progressFraction() const;
    QString phaseText() const;
    // "Kopieren · 3 / 12"; empty without progress.
    QString phaseProgressText() const;
    QString fileProgressText() const;
    QString byteProgressText() const;
    QString transferRateText() const;
    QString timeLeftText() const;
    QString currentFileName() const;
    bool hasResult() const { return run_.lastResult.has_value(); }
    int pendingCount() const;
    QString completedHeadline() const;
    QString pendingText() const;
    QList<ResultCard> resultCards() const;
    QString storageCheckText() const;
    bool hasStorageEstimate() const { return run_.storageEstimate.has_value(); }
    bool storageInsufficient() const { return run_.storageEstimate && !run_.storageEstimate->isSufficient; }
    QString modeTitle() const;
    QString modeDescription() const;
    QString effectText() const;
    // The title above the progress while a run or a trash phase works; empty otherwise.
    const QString& progressTitle() const { return core_.run.progressTitle; }
    // Every decision is in, a result folder and mode exist, nothing runs, the storage suffices
    // and, for moving or trashing, the confirmation was ticked.
    bool canExecute() const;
    // The files of the run as the current decisions and mode make it.
    RunScope runScope() const;
    QString runScopeText() const;
    QStringList runScopeLines() const;
    // The reviewed photos plus the carried-along ones, which are filed as keep.
    QList<PhotoItem> itemsForExecution() const;
    SortOptions currentOptions(const FileUrl& destination) const;
    // Where the trash journal lives: the services' override or the session store's folder.
    QString journalBase() const;

    // The confirmation screen's button: a standard run, or organise-then-stage for the trash mode.
    Q_INVOKABLE void applySort();
    void applyStandardSort();
    // A new run of the same session: finished files are skipped.
    Q_INVOKABLE void retryPendingSort();
    // Stops the running execution before its next file; the result still arrives.
    Q_INVOKABLE void cancelExecution();
    Q_INVOKABLE void refreshStorageEstimate();
    // Journal every record of a new plan / one outcome, and keep the session's records current.
    // Callable from the GUI thread; the futures fail with the store's error.
    QFuture<void> persistExecutionPlan(const SortExecutionPlan& plan);
    QFuture<void> persistExecutionRecord(const ExecutionRecord& record);
    // The plain-text report of the last result (no trailing line feed).
    QString reportText() const;
    // Writes the report atomically; false and an alert when it cannot be written.
    Q_INVOKABLE bool saveReport(const QString& path);
    Q_INVOKABLE void openResultInFileManager();
    Q_INVOKABLE void showExecutionLog();

    // ---- For the trash step, which runs its phases on the same thread ----------------------
    // The execution task (organising, staging or committing), finished when none runs.
    QFuture<void> executionTask() const { return task_; }
    QThreadPool* executionThread() { return &pool_; }
    // `task` is the one running now; `cancel` (if any) is what cancelExecution raises.
    void adoptTask(QFuture<void> task) { task_ = std::move(task); }
    void setCancellation(std::shared_ptr<CancellationFlag> cancel) { cancel_ = std::move(cancel); }
    // Runs a standard run, or organising plus staging, on the execution thread; `then` gets
    // the outcome on the GUI thread unless the run was reset meanwhile.
    void startExecution(bool stageTrash, std::function<void(const ExecutionOutcome&)> then);
    // Asks the running task to stop and waits for it.
    void cancelExecutionTask();
    void setApplying(bool applying);
    void setProgressTitle(const QString& title);
    void setSortProgress(std::optional<SortProgress> progress);
    void setLastResult(std::optional<SortResult> result);

#ifdef KESTRAVA_TEST_HOOKS
    // Stands in for a running execution.
    void setApplyingForTesting(bool applying) { setApplying(applying); }
#endif

signals:
    void isApplyingChanged();
    void isCheckingStorageChanged();
    void canExecuteChanged();
    void lastResultChanged();
    void storageEstimateChanged();
    void sortProgressChanged();
    void progressTitleChanged();
    void runScopeChanged();
    void storageCheckTextChanged();
    // An execution task (run, staging, commit, defer) ended, successfully or not.
    void executionFinished();

private:
    void setStorageEstimate(std::optional<StorageEstimate> estimate);
    void setCheckingStorage(bool checking);
    void recordExecutionOutcome(const ExecutionRecord& record, qint64 sequence);
    void finishStandardRun(const ExecutionOutcome& outcome);

    WorkflowCore& core_;
    RunState& run_ = core_.run;
    KestravaViewModel& flow_;
    std::optional<SortSession>& session_;
    QFuture<void> task_;
    quint64 storageGeneration_ = 0;
    std::shared_ptr<CancellationFlag> cancel_;
    // The one execution thread: runs, staging and commits never overlap.
    QThreadPool pool_;
};

} // namespace kestrava
