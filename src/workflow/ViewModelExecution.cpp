// Starting, following and ending a sort run. The run itself (ExecutionRun) works on the
// view model's one execution thread; everything it reports hops back here before it touches
// published state, and a report of a run that was reset meanwhile is dropped.

#include "ExecutionRun.h"
#include "FailureText.h"
#include "KestravaViewModel.h"
#include "session/SessionStore.h"

#include <QtConcurrent/QtConcurrentRun>

#include <algorithm>

namespace kestrava {

namespace {

const QString notConfirmedMessage = QStringLiteral("Die Ausführung ist noch nicht sicher bestätigt.");

} // namespace

// ---- Published values ----------------------------------------------------------------------

void KestravaViewModel::setProgressTitle(const QString& title)
{
    if (run_.progressTitle == title)
        return;
    run_.progressTitle = title;
    emit progressTitleChanged();
}

void KestravaViewModel::setSortProgress(std::optional<SortProgress> progress)
{
    if (run_.sortProgress == progress)
        return;
    run_.sortProgress = std::move(progress);
    emit sortProgressChanged();
}

void KestravaViewModel::setLastResult(std::optional<SortResult> result)
{
    if (run_.lastResult == result)
        return;
    run_.lastResult = std::move(result);
    emit lastResultChanged();
}

void KestravaViewModel::setStorageEstimate(std::optional<StorageEstimate> estimate)
{
    if (run_.storageEstimate == estimate)
        return;
    run_.storageEstimate = std::move(estimate);
    emit storageEstimateChanged();
}

void KestravaViewModel::setApplying(bool applying)
{
    setFlag(run_.isApplying, applying, &KestravaViewModel::isApplyingChanged);
}

void KestravaViewModel::executionInputsChanged()
{
    emit canExecuteChanged();
    emit canCommitTrashChanged();
}

// ---- Preconditions and inputs --------------------------------------------------------------

bool KestravaViewModel::canExecute() const
{
    if (run_.isApplying || isLoading_ || run_.isCommittingDecision || !run_.selectedOperationMode || !run_.destinationFolder)
        return false;
    if (session_ && session_->requiresModeSelection)
        return false;
    if (reviewGroupCount() == 0 || undecidedGroupCount() > 0)
        return false;
    if (isWaitingForCaptureDates())
        return false;
    // A known shortage blocks; an estimate still being computed does not, because the run
    // checks the volume again before its first file.
    if (run_.storageEstimate && !run_.storageEstimate->isSufficient)
        return false;
    if (*run_.selectedOperationMode == SortOperationMode::organizeAndTrash && !run_.destructiveConfirmationAccepted)
        return false;
    // Staged safety copies wait for their own confirmation; a second run would stage again.
    if (run_.trashPreparation && !run_.trashPreparation->entries.isEmpty())
        return false;
    return true;
}

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

QList<PhotoItem> KestravaViewModel::itemsForExecution() const
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

SortOptions KestravaViewModel::currentOptions(const FileUrl& destination) const
{
    SortOptions options;
    options.destinationRoot = destination;
    options.eventName = setup_.eventName().trimmed();
    options.groupByDate = setup_.groupByDate();
    options.operationMode = run_.selectedOperationMode.value_or(SortOperationMode::safeCopy);
    options.verificationMode = setup_.verificationMode();
    options.writeRatingSidecars = setup_.writeRatingSidecars();
    options.keepRatingStars = setup_.keepRatingStars();
    return options;
}

// ---- Storage estimate ----------------------------------------------------------------------

void KestravaViewModel::refreshStorageEstimate()
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
    setFlag(run_.isCheckingStorage, true, &KestravaViewModel::isCheckingStorageChanged);
    QtConcurrent::run([items, options, records] { return StoragePreflight::estimate(items, options, records); })
        .then(this, [this, generation](const StorageEstimate& estimate) {
            // Only the newest request publishes; an older one finishing late is stale.
            if (generation != storageGeneration_)
                return;
            setStorageEstimate(estimate);
            setFlag(run_.isCheckingStorage, false, &KestravaViewModel::isCheckingStorageChanged);
        });
}

// ---- Running -------------------------------------------------------------------------------

void KestravaViewModel::applySort()
{
    if (run_.selectedOperationMode == SortOperationMode::organizeAndTrash)
        prepareTrashSort();
    else
        applyStandardSort();
}

void KestravaViewModel::applyStandardSort()
{
    if (!canExecute()) {
        setAlert(isWaitingForCaptureDates() ? executionWaitText() : notConfirmedMessage);
        return;
    }
    setRoute(AppRoute::executing);
    setProgressTitle(QString());
    startExecution(false, [this](const ExecutionOutcome& outcome) { finishStandardRun(outcome); });
}

void KestravaViewModel::retryPendingSort()
{
    if (run_.isApplying)
        return;
    // The last run's result is history now; its records decide what is skipped.
    setLastResult(std::nullopt);
    applySort();
}

void KestravaViewModel::cancelExecution()
{
    if (executionCancel_)
        executionCancel_->cancel();
}

void KestravaViewModel::cancelExecutionTask()
{
    cancelExecution();
    // The run stops before its next file; waiting keeps it from outliving this object.
    executionPool_.waitForDone();
}

QFuture<void> KestravaViewModel::persistExecutionPlan(const SortExecutionPlan& plan)
{
    if (!session_)
        return QtFuture::makeReadyFuture();
    SessionStore* store = services_.sessionStore;
    const QUuid id = session_->id;
    const qint64 after = session_->lastEventSequence;
    const QMap<QString, ExecutionRecord> journaled = session_->executionRecords;
    QFuture<void> written = QtConcurrent::run(&executionPool_, [store, id, after, plan, journaled, this] {
        ExecutionRun::journalPlan(store, id, after, plan, journaled, [this](const ExecutionRecord& record, qint64 sequence) {
            QMetaObject::invokeMethod(this, [this, record, sequence] { recordExecutionOutcome(record, sequence); },
                                      Qt::QueuedConnection);
        });
    });
    return written;
}

QFuture<void> KestravaViewModel::persistExecutionRecord(const ExecutionRecord& record)
{
    if (!session_)
        return QtFuture::makeReadyFuture();
    SessionStore* store = services_.sessionStore;
    const QUuid id = session_->id;
    const qint64 after = session_->lastEventSequence;
    return QtConcurrent::run(&executionPool_, [store, id, after, record, this] {
        const qint64 sequence = ExecutionRun::journalRecord(store, id, after, record);
        QMetaObject::invokeMethod(this, [this, record, sequence] { recordExecutionOutcome(record, sequence); },
                                  Qt::QueuedConnection);
    });
}

void KestravaViewModel::recordExecutionOutcome(const ExecutionRecord& record, qint64 sequence)
{
    if (!session_)
        return;
    session_->executionRecords.insert(record.sourcePath, record);
    session_->lastEventSequence = std::max(session_->lastEventSequence, sequence);
    if (sequence > 0)
        sessionStage_.setLastSavedAt(now());
}

void KestravaViewModel::startExecution(bool stageTrash, std::function<void(const ExecutionOutcome&)> then)
{
    ExecutionRequest request;
    request.items = itemsForExecution();
    request.options = currentOptions(*run_.destinationFolder);
    if (session_) {
        request.snapshot = makeSessionSnapshot(SortSessionStatus::running);
        // Later snapshots build on this status even before the store confirms it.
        session_->status = SortSessionStatus::running;
        request.records = session_->executionRecords;
        request.store = services_.sessionStore;
        request.sessionID = session_->id;
        request.lastEventSequence = session_->lastEventSequence;
    }
    request.exists = services_.exists;
    request.fileOps = services_.fileOps;
    request.stageTrash = stageTrash;
    request.journalBase = journalBase();
    request.trashCapability = services_.trash.capability;

    auto cancel = std::make_shared<CancellationFlag>();
    executionCancel_ = cancel;
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
    executionTask_ = QtConcurrent::run(&executionPool_, [request, progress, records, cancel] {
                         return ExecutionRun::run(request, progress, records, cancel);
                     })
                         .then(this, [this, generation, then = std::move(then)](const ExecutionOutcome& outcome) {
                             if (generation != core_.generation())
                                 return;
                             executionCancel_.reset();
                             setApplying(false);
                             if (outcome.snapshotSaved)
                                 sessionStage_.setLastSavedAt(now());
                             then(outcome);
                             emit executionFinished();
                         });
}

void KestravaViewModel::finishStandardRun(const ExecutionOutcome& outcome)
{
    if (!outcome.result) {
        // Nothing was touched, or the run could not go on: back to the confirmation screen.
        setSortProgress(std::nullopt);
        setAlert(outcome.failure.value_or(unknownFailureText()));
        saveSessionSnapshot(SortSessionStatus::paused);
        setRoute(AppRoute::confirmation);
        return;
    }
    const SortResult& result = *outcome.result;
    setLastResult(result);
    SortProgress finished = run_.sortProgress.value_or(SortProgress{});
    finished.phase = SortPhase::finished;
    setSortProgress(finished);
    const bool complete = result.pendingCount == 0 && result.errors.isEmpty() && !result.cancelled;
    saveSessionSnapshot(complete ? SortSessionStatus::completed : SortSessionStatus::paused);
    setRoute(AppRoute::completed);
}

} // namespace kestrava
