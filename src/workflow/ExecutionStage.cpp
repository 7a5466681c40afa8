// Starting, following and ending a sort run. The run itself (ExecutionRun) works on the
// stage's one execution thread; everything it reports hops back here before it touches
// published state, and a report of a run that was reset meanwhile is dropped.

#include "ExecutionRun.h"
#include "WindowWording.h"
#include "ExecutionStage.h"
#include "KestravaViewModel.h"
#include "WindowWording.h"
#include "platform/DeliveredLater.h"
#include "session/SessionStore.h"

#include <QtConcurrent/QtConcurrentRun>

#include <algorithm>

namespace kestrava {

namespace {

const QString notConfirmedMessage = QStringLiteral("Die Ausführung ist noch nicht sicher bestätigt.");

} // namespace

ExecutionStage::ExecutionStage(WorkflowCore& core, KestravaViewModel& flow, std::optional<SortSession>& session)
    : QObject(&flow), core_(core), flow_(flow), session_(session)
{
    pool_.setMaxThreadCount(1);
    // A run's files may be large: the thread must not be retired mid-way by the pool's expiry.
    pool_.setExpiryTimeout(-1);

    connect(&core_, &WorkflowCore::runReset, this, [this] {
        // An estimate still being computed belongs to the run that is gone.
        ++storageGeneration_;
        for (auto signal : {&ExecutionStage::lastResultChanged, &ExecutionStage::storageEstimateChanged,
                            &ExecutionStage::isCheckingStorageChanged, &ExecutionStage::sortProgressChanged,
                            &ExecutionStage::progressTitleChanged, &ExecutionStage::isApplyingChanged})
            emit(this->*signal)();
    });
    for (auto signal : {&ReviewStage::reviewStateChanged, &ReviewStage::isCommittingDecisionChanged})
        connect(flow_.review(), signal, this, &ExecutionStage::canExecuteChanged);
    connect(flow_.loading(), &LoadingStage::isLoadingChanged, this, &ExecutionStage::canExecuteChanged);
    for (auto signal : {&KestravaViewModel::routeChanged,
                        &KestravaViewModel::destinationFolderChanged, &KestravaViewModel::selectedOperationModeChanged,
                        &KestravaViewModel::destructiveConfirmationAcceptedChanged,
                        &KestravaViewModel::trashCommitConfirmationAcceptedChanged})
        connect(&flow_, signal, this, &ExecutionStage::canExecuteChanged);
    connect(this, &ExecutionStage::isApplyingChanged, this, &ExecutionStage::canExecuteChanged);
    for (auto signal : {&LoadingStage::photosChanged, &LoadingStage::skippedEntryCountChanged})
        connect(flow_.loading(), signal, this, &ExecutionStage::runScopeChanged);
    for (auto signal : {&ReviewStage::reviewStateChanged, &ReviewStage::decisionCountsChanged})
        connect(flow_.review(), signal, this, &ExecutionStage::runScopeChanged);
    connect(&core_, &WorkflowCore::runReset, this, &ExecutionStage::runScopeChanged);
    connect(this, &ExecutionStage::storageEstimateChanged, this, &ExecutionStage::canExecuteChanged);
    connect(this, &ExecutionStage::storageEstimateChanged, this, &ExecutionStage::storageCheckTextChanged);
    connect(this, &ExecutionStage::isCheckingStorageChanged, this, &ExecutionStage::storageCheckTextChanged);
    connect(&flow_, &KestravaViewModel::destinationBaseFolderChanged, this, &ExecutionStage::storageCheckTextChanged);
    connect(&flow_, &KestravaViewModel::selectedOperationModeChanged, this, &ExecutionStage::runScopeChanged);
    // The estimate follows what it is computed from, and is fresh whenever the confirmation
    // screen opens (the volume may have filled during review).
    connect(&flow_, &KestravaViewModel::destinationFolderChanged, this, &ExecutionStage::refreshStorageEstimate);
    connect(&flow_, &KestravaViewModel::selectedOperationModeChanged, this, &ExecutionStage::refreshStorageEstimate);
    // A tick confirms the effect that was on screen; another mode has another effect.
    connect(&flow_, &KestravaViewModel::selectedOperationModeChanged, this,
            [this] { flow_.setDestructiveConfirmationAccepted(false); });
    connect(&flow_, &KestravaViewModel::routeChanged, this, [this] {
        if (core_.route() == AppRoute::confirmation)
            refreshStorageEstimate();
    });
}

ExecutionStage::~ExecutionStage()
{
    // The execution thread posts to this object; it must end first.
    cancelExecutionTask();
}

QString ExecutionStage::journalBase() const
{
    if (!core_.services.journalBase.isEmpty())
        return core_.services.journalBase;
    return core_.services.sessionStore ? core_.services.sessionStore->baseDirectory() : QString();
}

// ---- Published values ----------------------------------------------------------------------

void ExecutionStage::setProgressTitle(const QString& title)
{
    if (run_.progressTitle == title)
        return;
    run_.progressTitle = title;
    emit progressTitleChanged();
}

void ExecutionStage::setSortProgress(std::optional<SortProgress> progress)
{
    if (run_.sortProgress == progress)
        return;
    run_.sortProgress = std::move(progress);
    emit sortProgressChanged();
}

void ExecutionStage::setLastResult(std::optional<SortResult> result)
{
    if (run_.lastResult == result)
        return;
    run_.lastResult = std::move(result);
    emit lastResultChanged();
}

void ExecutionStage::setStorageEstimate(std::optional<StorageEstimate> estimate)
{
    if (run_.storageEstimate == estimate)
        return;
    run_.storageEstimate = std::move(estimate);
    emit storageEstimateChanged();
}

void ExecutionStage::setApplying(bool applying)
{
    if (run_.isApplying == applying)
        return;
    run_.isApplying = applying;
    emit isApplyingChanged();
}

void ExecutionStage::setCheckingStorage(bool checking)
{
    if (run_.isCheckingStorage == checking)
        return;
    run_.isCheckingStorage = checking;
    emit isCheckingStorageChanged();
}

// ---- Preconditions and inputs --------------------------------------------------------------

bool ExecutionStage::canExecute() const
{
    if (run_.isApplying || flow_.loading()->isLoading() || run_.isCommittingDecision || !run_.selectedOperationMode
        || !run_.destinationFolder)
        return false;
    if (session_ && session_->requiresModeSelection)
        return false;
    if (flow_.review()->reviewGroupCount() == 0 || flow_.review()->classifiedCount() < flow_.review()->reviewGroupCount())
        return false;
    if (flow_.loading()->isWaitingForCaptureDates())
        return false;
    // A known shortage blocks; an estimate still being computed does not, because the run
    // checks the volume again before its first file.
    if (run_.storageEstimate && !run_.storageEstimate->isSufficient)
        return false;
    // Moving empties the card and staging prepares the Trash: both wait for the person's tick.
    // A copy leaves every original where it was and needs none.
    if (*run_.selectedOperationMode != SortOperationMode::safeCopy && !run_.destructiveConfirmationAccepted)
        return false;
    // Staged safety copies wait for their own confirmation; a second run would stage again.
    if (run_.trashPreparation && !run_.trashPreparation->entries.isEmpty())
        return false;
    return true;
}

RunScope ExecutionStage::runScope() const
{
    RunScope scope = RunScope::of(run_.photos, run_.passThroughPhotos, flow_.review()->reviewGroupCount(), run_.skippedEntryCount);
    scope.unsupportedFiles = run_.unsupportedFileCount;
    scope.unsupportedExamples = run_.unsupportedFileExamples;
    return scope;
}

QString ExecutionStage::runScopeText() const
{
    return WindowWording::runScopeTitle(runScope());
}

QStringList ExecutionStage::runScopeLines() const
{
    return WindowWording::runScopeLines(runScope());
}

QList<PhotoItem> ExecutionStage::itemsForExecution() const
{
    QList<PhotoItem> items = run_.photos;
    items.reserve(run_.photos.size() + run_.passThroughPhotos.size());
    for (PhotoItem carried : run_.passThroughPhotos) {
        // The setup screen promises that the format not reviewed is filed as keep.
        carried.decision = PhotoDecision::keep;
        items.append(std::move(carried));
    }
    return items;
}

SortOptions ExecutionStage::currentOptions(const FileUrl& destination) const
{
    SortOptions options;
    options.destinationRoot = destination;
    options.eventName = flow_.setup()->eventName().trimmed();
    options.groupByDate = flow_.setup()->groupByDate();
    options.operationMode = run_.selectedOperationMode.value_or(SortOperationMode::safeCopy);
    options.verificationMode = flow_.setup()->verificationMode();
    options.writeRatingSidecars = flow_.setup()->writeRatingSidecars();
    options.keepRatingStars = flow_.setup()->keepRatingStars();
    return options;
}

// ---- Storage estimate ----------------------------------------------------------------------

void ExecutionStage::refreshStorageEstimate()
{
    if (!run_.destinationFolder || !run_.selectedOperationMode) {
        setStorageEstimate(std::nullopt);
        return;
    }
    // Undecided photos count as kept: before review ends the estimate is an upper bound.
    QList<PhotoItem> items = itemsForExecution();
    for (PhotoItem& item : items)
        if (!item.decision)
            item.decision = PhotoDecision::keep;
    const SortOptions options = currentOptions(*run_.destinationFolder);
    const QMap<QString, ExecutionRecord> records = session_ ? session_->executionRecords : QMap<QString, ExecutionRecord>{};
    const quint64 generation = ++storageGeneration_;
    setCheckingStorage(true);
    deliveredLater(QtConcurrent::run([items, options, records] { return StoragePreflight::estimate(items, options, records); }), this)
        .then(this, [this, generation](const StorageEstimate& estimate) {
            // Only the newest request publishes; an older one finishing late is stale.
            if (generation != storageGeneration_)
                return;
            setStorageEstimate(estimate);
            setCheckingStorage(false);
        });
}

// ---- Running -------------------------------------------------------------------------------

void ExecutionStage::applySort()
{
    if (run_.selectedOperationMode == SortOperationMode::organizeAndTrash)
        flow_.trash()->prepareTrashSort();
    else
        applyStandardSort();
}

void ExecutionStage::applyStandardSort()
{
    if (!canExecute()) {
        core_.raiseAlert(flow_.loading()->isWaitingForCaptureDates() ? flow_.loading()->executionWaitText() : notConfirmedMessage);
        return;
    }
    core_.setRoute(AppRoute::executing);
    setProgressTitle(QString());
    startExecution(false, [this](const ExecutionOutcome& outcome) { finishStandardRun(outcome); });
}

void ExecutionStage::retryPendingSort()
{
    if (run_.isApplying)
        return;
    // The last run's result is history now; its records decide what is skipped.
    setLastResult(std::nullopt);
    applySort();
}

void ExecutionStage::cancelExecution()
{
    if (cancel_)
        cancel_->cancel();
}

void ExecutionStage::cancelExecutionTask()
{
    cancelExecution();
    // The run stops before its next file; waiting keeps it from outliving this object.
    pool_.waitForDone();
}

QFuture<void> ExecutionStage::persistExecutionPlan(const SortExecutionPlan& plan)
{
    if (!session_)
        return QtFuture::makeReadyFuture();
    SessionStore* store = core_.services.sessionStore;
    const QUuid id = session_->id;
    const qint64 after = session_->lastEventSequence;
    const QMap<QString, ExecutionRecord> journaled = session_->executionRecords;
    QFuture<void> written = QtConcurrent::run(&pool_, [store, id, after, plan, journaled, this] {
        ExecutionRun::journalPlan(store, id, after, plan, journaled, [this](const ExecutionRecord& record, qint64 sequence) {
            QMetaObject::invokeMethod(this, [this, record, sequence] { recordExecutionOutcome(record, sequence); },
                                      Qt::QueuedConnection);
        });
    });
    return written;
}

QFuture<void> ExecutionStage::persistExecutionRecord(const ExecutionRecord& record)
{
    if (!session_)
        return QtFuture::makeReadyFuture();
    SessionStore* store = core_.services.sessionStore;
    const QUuid id = session_->id;
    const qint64 after = session_->lastEventSequence;
    return QtConcurrent::run(&pool_, [store, id, after, record, this] {
        const qint64 sequence = ExecutionRun::journalRecord(store, id, after, record);
        QMetaObject::invokeMethod(this, [this, record, sequence] { recordExecutionOutcome(record, sequence); },
                                  Qt::QueuedConnection);
    });
}

void ExecutionStage::recordExecutionOutcome(const ExecutionRecord& record, qint64 sequence)
{
    if (!session_)
        return;
    session_->executionRecords.insert(record.sourcePath, record);
    session_->lastEventSequence = std::max(session_->lastEventSequence, sequence);
    if (sequence > 0)
        flow_.sessionStage()->setLastSavedAt(core_.services.clock());
}

void ExecutionStage::startExecution(bool stageTrash, std::function<void(const ExecutionOutcome&)> then)
{
    ExecutionRequest request;
    request.items = itemsForExecution();
    request.options = currentOptions(*run_.destinationFolder);
    if (session_) {
        request.snapshot = flow_.makeSessionSnapshot(SortSessionStatus::running);
        // Later snapshots build on this status even before the store confirms it.
        session_->status = SortSessionStatus::running;
        request.records = session_->executionRecords;
        request.store = core_.services.sessionStore;
        request.sessionID = session_->id;
        request.lastEventSequence = session_->lastEventSequence;
    }
    request.exists = core_.services.exists;
    request.fileOps = core_.services.fileOps;
    request.stageTrash = stageTrash;
    request.journalBase = journalBase();
    request.trashCapability = core_.services.trash.capability;

    auto cancel = std::make_shared<CancellationFlag>();
    cancel_ = cancel;
    const quint64 generation = core_.generation();
    setApplying(true);
    // Until the executor reports, the count is of the files it will copy or move; in the
    // trash mode the rejected ones are staged later and counted then.
    SortProgress start;
    start.totalFiles = int(std::count_if(request.items.begin(), request.items.end(), [&](const PhotoItem& item) {
        return ResumableSortExecutor::receivesAction(item, request.options.operationMode);
    }));
    setSortProgress(start);

    // Progress and records are posted as events: they arrive in order, before the outcome,
    // and are dropped with this object. The destructor waits for the thread, so `this` is
    // alive whenever the worker posts.
    const ExecutionRun::ProgressSink progress = [this, generation](const SortProgress& value) {
        QMetaObject::invokeMethod(this, [this, generation, value] {
            if (generation == core_.generation())
                setSortProgress(value);
        }, Qt::QueuedConnection);
    };
    const ExecutionRun::RecordSink records = [this, generation](const ExecutionRecord& record, qint64 sequence) {
        QMetaObject::invokeMethod(this, [this, generation, record, sequence] {
            if (generation == core_.generation())
                recordExecutionOutcome(record, sequence);
        }, Qt::QueuedConnection);
    };
    // Delivered from the event loop, so the outcome comes after the progress and records the
    // run posted, even when the run finished before the continuation was attached.
    task_ = deliveredLater(QtConcurrent::run(&pool_, [request, progress, records, cancel] {
                         return ExecutionRun::run(request, progress, records, cancel);
                     }), this)
                         .then(this, [this, generation, then = std::move(then)](const ExecutionOutcome& outcome) {
                             if (generation != core_.generation())
                                 return;
                             cancel_.reset();
                             setApplying(false);
                             if (outcome.snapshotSaved)
                                 flow_.sessionStage()->setLastSavedAt(core_.services.clock());
                             then(outcome);
                             emit executionFinished();
                         });
}

void ExecutionStage::finishStandardRun(const ExecutionOutcome& outcome)
{
    if (!outcome.result) {
        // Nothing was touched, or the run could not go on: back to the confirmation screen.
        setSortProgress(std::nullopt);
        core_.raiseAlert(outcome.failure.value_or(unknownFailureText()));
        flow_.saveSessionSnapshot(SortSessionStatus::paused);
        core_.setRoute(AppRoute::confirmation);
        return;
    }
    const SortResult& result = *outcome.result;
    setLastResult(result);
    SortProgress finished = run_.sortProgress.value_or(SortProgress{});
    finished.phase = SortPhase::finished;
    setSortProgress(finished);
    const bool complete = result.pendingCount == 0 && result.errors.isEmpty() && !result.cancelled;
    flow_.saveSessionSnapshot(complete ? SortSessionStatus::completed : SortSessionStatus::paused);
    core_.setRoute(AppRoute::completed);
}

} // namespace kestrava
