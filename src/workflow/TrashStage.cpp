// The trash mode's two phases as the user sees them: organise and stage safety copies, wait
// for the second confirmation, then move the originals. The coordinator's work runs on the
// execution thread; its journal, not this object, is the authority on every entry's state.

#include "ExecutionRun.h"
#include "WindowWording.h"
#include "KestravaViewModel.h"
#include "TrashStage.h"
#include "execution/ResumableSortExecutor.h"
#include "platform/DeliveredLater.h"
#include "session/SessionStore.h"
#include "trash/FreedesktopTrash.h"
#include "trash/TrashJson.h"
#include "trash/TrashTransactionCoordinator.h"
#include "trash/TrashTransactionError.h"

#include <QtConcurrent/QtConcurrentRun>

namespace kestrava {

namespace {

using State = TrashTransactionState;

const QString stagingTitle = QStringLiteral("Sicherheitsablage wird vorbereitet");
const QString commitTitle = QStringLiteral("Originale und Sicherheitskopien werden erneut geprüft");

// A file confirmed in the Trash is not final while its safety copy still waits for removal.
bool isFinal(State state)
{
    return state == State::stageCleaned || state == State::failed;
}

bool isTrashed(State state)
{
    return state == State::trashedConfirmed || state == State::cleanupIntent || state == State::stageCleaned;
}

// Work a commit can still do: moves waiting for the confirmation, moves a killed run left
// unconfirmed, and safety copies whose files are all in the Trash.
bool committable(State state)
{
    return state == State::stagedVerified || state == State::deferred || state == State::trashIntent
        || state == State::trashedConfirmed || state == State::cleanupIntent;
}

bool waitsForMove(const TrashPreparation& preparation)
{
    return std::any_of(preparation.entries.begin(), preparation.entries.end(), [](const TrashEntry& entry) {
        return entry.state == State::stagedVerified || entry.state == State::deferred;
    });
}

// The files a person must look at, each with what happened and what can be done.
QString reviewList(const TrashPreparation& preparation)
{
    QStringList lines;
    for (const TrashEntry& entry : preparation.entries)
        if (entry.state == State::needsReview)
            lines.append(QStringLiteral("„%1“: %2").arg(entry.sourceURL.fileName(), entry.message.value_or(QString())));
    if (lines.isEmpty())
        return {};
    return QStringLiteral("Manuelle Prüfung nötig (%1):\n").arg(lines.size()) + lines.join(QLatin1Char('\n'));
}

bool waitsForDecision(const TrashPreparation& preparation)
{
    return std::any_of(preparation.entries.begin(), preparation.entries.end(),
                       [](const TrashEntry& entry) { return !isFinal(entry.state); });
}

// The system calls the coordinator uses: the injected ones where a test replaced them.
TrashTransactionOptions transactionOptions(FileOps* fileOps)
{
    TrashTransactionOptions options;
    if (fileOps)
        options.fileOps = fileOps;
    return options;
}

struct TrashOperationResult {
    std::optional<TrashPreparation> preparation;
    QString failure;
};

} // namespace

TrashStage::TrashStage(WorkflowCore& core, KestravaViewModel& flow, ExecutionStage& execution,
                       std::optional<SortSession>& session)
    : QObject(&flow), core_(core), flow_(flow), execution_(execution), session_(session)
{
    connect(&core_, &WorkflowCore::runReset, this, [this] {
        emit trashPreparationChanged();
        emit rejectedFileCountChanged();
    });
    connect(flow_.review(), &ReviewStage::reviewStateChanged, this, &TrashStage::rejectedFileCountChanged);
    for (auto signal : {&ReviewStage::reviewStateChanged, &ReviewStage::isCommittingDecisionChanged})
        connect(flow_.review(), signal, this, &TrashStage::canCommitTrashChanged);
    connect(flow_.loading(), &LoadingStage::isLoadingChanged, this, &TrashStage::canCommitTrashChanged);
    for (auto signal : {&KestravaViewModel::routeChanged,
                        &KestravaViewModel::destinationFolderChanged, &KestravaViewModel::selectedOperationModeChanged,
                        &KestravaViewModel::destructiveConfirmationAcceptedChanged,
                        &KestravaViewModel::trashCommitConfirmationAcceptedChanged})
        connect(&flow_, signal, this, &TrashStage::canCommitTrashChanged);
    connect(this, &TrashStage::trashPreparationChanged, this, &TrashStage::canCommitTrashChanged);
    connect(&execution_, &ExecutionStage::isApplyingChanged, this, &TrashStage::canCommitTrashChanged);
}

QString TrashStage::volumeLine() const
{
    return run_.trashPreparation ? WindowWording::volumeLine(run_.trashPreparation->sameVolumeAsSource) : QString();
}

QStringList TrashStage::sourceVolumeLines() const
{
    QStringList lines;
    if (run_.trashPreparation)
        for (const SourceVolumeSummary& volume : run_.trashPreparation->sourceVolumes)
            lines.append(WindowWording::sourceVolumeLine(volume));
    return lines;
}

int TrashStage::manualReviewCount() const
{
    return run_.trashPreparation ? run_.trashPreparation->needsReviewCount() : 0;
}

QString TrashStage::manualReviewText() const
{
    return WindowWording::manualReviewText(manualReviewCount());
}

QString TrashStage::stagingLead() const
{
    return WindowWording::stagingLead(rejectedFileCount());
}

QString TrashStage::trashSafetyText()
{
    return WindowWording::trashSafetyText();
}

QString TrashStage::trashGuaranteeText()
{
    return WindowWording::trashGuaranteeText();
}

void TrashStage::setTrashPreparation(std::optional<TrashPreparation> preparation)
{
    if (session_)
        session_->trashPreparation = preparation;
    if (run_.trashPreparation == preparation)
        return;
    run_.trashPreparation = std::move(preparation);
    emit trashPreparationChanged();
}

int TrashStage::rejectedFileCount() const
{
    int count = 0;
    for (const PhotoItem& photo : run_.photos)
        count += photo.decision == PhotoDecision::del ? 1 : 0;
    return count;
}

bool TrashStage::canCommitTrash() const
{
    if (!run_.trashPreparation || run_.trashPreparation->entries.isEmpty() || run_.trashJournalBlocked)
        return false;
    const bool workLeft = std::any_of(run_.trashPreparation->entries.begin(), run_.trashPreparation->entries.end(),
                                      [](const TrashEntry& entry) { return committable(entry.state); });
    return workLeft && run_.trashCommitConfirmationAccepted && !run_.isApplying;
}

// ---- Phase one -------------------------------------------------------------------------------

void TrashStage::prepareTrashSort()
{
    if (!execution_.canExecute()) {
        core_.raiseAlert(QStringLiteral("Die Sicherheitsablage kann noch nicht vorbereitet werden."));
        return;
    }
    execution_.setProgressTitle(stagingTitle);
    core_.setRoute(AppRoute::trashStaging);
    execution_.startExecution(true, [this](const ExecutionOutcome& outcome) { finishTrashStaging(outcome); });
}

void TrashStage::finishTrashStaging(const ExecutionOutcome& outcome)
{
    execution_.setProgressTitle(QString());
    if (outcome.result) {
        execution_.setLastResult(*outcome.result);
        run_.preparedOrganizationResult = outcome.result;
    }
    if (!outcome.result || !ExecutionRun::organizedCompletely(*outcome.result)) {
        // The organising step did not finish: no safety copy was made, no original touched.
        if (outcome.failure)
            core_.raiseAlert(*outcome.failure);
        else
            core_.raiseAlert(ExecutionRun::stagingRefusedPrefix() + outcome.result->errors.join(QLatin1Char('\n')));
        flow_.saveSessionSnapshot(SortSessionStatus::paused);
        core_.setRoute(outcome.result ? AppRoute::completed : AppRoute::confirmation);
        return;
    }
    if (!outcome.preparation) {
        core_.raiseAlert(outcome.failure.value_or(ExecutionRun::stagingRefusedPrefix() + unknownFailureText()));
        flow_.saveSessionSnapshot(SortSessionStatus::paused);
        core_.setRoute(AppRoute::confirmation);
        return;
    }
    setTrashPreparation(outcome.preparation);
    // Refused groups are listed by file and reason; the others wait for the confirmation.
    QStringList refusals = outcome.refusedGroups;
    for (const TrashEntry& entry : outcome.preparation->entries)
        if (entry.state == State::failed && entry.message)
            refusals.append(*entry.message);
    if (!refusals.isEmpty())
        core_.raiseAlert(QStringLiteral("Nicht in die Sicherheitsablage aufgenommen:\n") + refusals.join(QLatin1Char('\n')));
    if (!waitsForMove(*outcome.preparation)) {
        // Nothing was rejected (or every group was refused): nothing waits for confirmation.
        flow_.saveSessionSnapshot(refusals.isEmpty() ? SortSessionStatus::completed : SortSessionStatus::paused);
        core_.setRoute(AppRoute::completed);
        return;
    }
    flow_.saveSessionSnapshot(SortSessionStatus::paused);
    core_.setRoute(AppRoute::trashConfirmation);
}

// ---- Phase two and deferral ------------------------------------------------------------------

void TrashStage::runTrashOperation(std::function<TrashPreparation()> operation,
                                          std::function<void(const TrashPreparation&)> succeeded,
                                          std::function<void(const QString&)> failed)
{
    const quint64 generation = core_.generation();
    execution_.setApplying(true);
    // Delivered from the event loop: the progress the operation posted comes first, and a
    // caller never sees the outcome applied before it returns.
    execution_.adoptTask(deliveredLater(QtConcurrent::run(execution_.executionThread(), [operation = std::move(operation)] {
                         TrashOperationResult result;
                         try {
                             result.preparation = operation();
                         } catch (const QException& error) {
                             result.failure = failureText(error);
                         } catch (...) {
                             result.failure = unknownFailureText();
                         }
                         return result;
                     }), this)
                         .then(this, [this, generation, succeeded = std::move(succeeded),
                                      failed = std::move(failed)](const TrashOperationResult& result) {
                             if (generation != core_.generation())
                                 return;
                             execution_.setApplying(false);
                             if (result.preparation)
                                 succeeded(*result.preparation);
                             else
                                 failed(result.failure);
                             emit execution_.executionFinished();
                         }));
}

void TrashStage::commitPreparedTrash()
{
    if (!canCommitTrash()) {
        // Each reason in its own words: only a missing tick asks for the tick.
        const bool workLeft = run_.trashPreparation && std::any_of(run_.trashPreparation->entries.begin(), run_.trashPreparation->entries.end(),
                                                               [](const TrashEntry& entry) { return committable(entry.state); });
        QString message = QStringLiteral("Bitte bestätige zuerst die zweite Sicherheitswarnung.");
        if (run_.trashJournalBlocked)
            message = TrashTransactionError(TrashTransactionError::Kind::journalCorrupt).description();
        else if (run_.isApplying)
            message = TrashTransactionError(TrashTransactionError::Kind::transactionAlreadyRunning).description();
        else if (!workLeft)
            message = QStringLiteral("Es gibt keine Datei, die noch in den Papierkorb gelegt werden kann.\n")
                + (run_.trashPreparation ? reviewList(*run_.trashPreparation) : QString());
        core_.raiseAlert(message.trimmed());
        return;
    }
    flow_.saveSessionSnapshot(SortSessionStatus::running);
    execution_.setProgressTitle(commitTitle);
    core_.setRoute(AppRoute::executing);
    const TrashPreparation preparation = *run_.trashPreparation;
    const int files = int(preparation.entries.size());
    SortProgress start;
    start.phase = SortPhase::trashing;
    start.totalFiles = files;
    execution_.setSortProgress(start);
    const quint64 generation = core_.generation();
    // The coordinator reports before the first move and after each original it has moved.
    const TrashProgress progress = [this, generation](const TrashProgressReport& report) {
        SortProgress value;
        value.phase = SortPhase::trashing;
        value.totalFiles = report.totalFiles;
        value.completedFiles = report.completedFiles;
        value.completedBytes = report.completedBytes;
        value.totalBytes = report.totalBytes;
        value.currentFilename = report.currentFilename;
        QMetaObject::invokeMethod(this, [this, generation, value] {
            if (generation == core_.generation())
                execution_.setSortProgress(value);
        }, Qt::QueuedConnection);
    };
    const QString base = execution_.journalBase();
    const TrashServices services = core_.services.trash;
    TrashTransactionOptions options = transactionOptions(core_.services.fileOps);
    // Ctrl-C and the window's stop button stop before the next original, never inside a move.
    auto cancel = std::make_shared<CancellationFlag>();
    execution_.setCancellation(cancel);
    options.isCanceled = [cancel] { return cancel->isCanceled(); };
    if (flow_.sourceFolder())
        options.sourceFolder = flow_.sourceFolder()->path();
    runTrashOperation(
        [=] { return TrashTransactionCoordinator::commit(preparation, base, *services.service, *services.receipts, progress, options); },
        [this, cancel](const TrashPreparation& committed) {
            execution_.setCancellation(nullptr);
            execution_.setProgressTitle(QString());
            setTrashPreparation(committed);
            SortResult result = run_.preparedOrganizationResult.value_or(run_.lastResult.value_or(SortResult{}));
            result.trashedCount = 0;
            for (const TrashEntry& entry : committed.entries)
                result.trashedCount += isTrashed(entry.state) ? 1 : 0;
            result.retainedDiscardCount = int(committed.entries.size()) - result.trashedCount;
            execution_.setLastResult(result);
            SortProgress finished = run_.sortProgress.value_or(SortProgress{});
            finished.phase = SortPhase::finished;
            execution_.setSortProgress(finished);
            flow_.saveSessionSnapshot(waitsForDecision(committed) ? SortSessionStatus::paused : SortSessionStatus::completed);
            QStringList notes;
            if (cancel->isCanceled() && waitsForMove(committed))
                notes.append(QStringLiteral("Die Papierkorbaktion wurde angehalten. Die übrigen Originale sind unangetastet"
                                            " und warten auf die Bestätigung."));
            if (const QString review = reviewList(committed); !review.isEmpty())
                notes.append(review);
            if (!notes.isEmpty())
                core_.raiseAlert(notes.join(QLatin1Char('\n')));
            core_.setRoute(waitsForMove(committed) ? AppRoute::trashConfirmation : AppRoute::completed);
        },
        [this, preparation, base, options](const QString& failure) {
            execution_.setCancellation(nullptr);
            execution_.setProgressTitle(QString());
            core_.raiseAlert(failure);
            // What the journal holds is what happened; the screen shows that, not the plan.
            try {
                setTrashPreparation(TrashTransactionCoordinator::reload(preparation, base, options));
            } catch (const QException&) {
                run_.trashJournalBlocked = true;
                emit canCommitTrashChanged();
            }
            flow_.saveSessionSnapshot(SortSessionStatus::paused);
            core_.setRoute(AppRoute::trashConfirmation);
        });
}

void TrashStage::deferPreparedTrash()
{
    if (!run_.trashPreparation || run_.isApplying)
        return;
    const TrashPreparation preparation = *run_.trashPreparation;
    const QString base = execution_.journalBase();
    const TrashTransactionOptions options = transactionOptions(core_.services.fileOps);
    runTrashOperation([=] { return TrashTransactionCoordinator::markDeferred(preparation, base, options); },
                      [this](const TrashPreparation& deferred) {
                          setTrashPreparation(deferred);
                          // Copies and originals stay; the session waits on the welcome screen.
                          const std::optional<SortSession> parked = flow_.makeSessionSnapshot(SortSessionStatus::paused);
                          flow_.saveSessionSnapshot(SortSessionStatus::paused);
                          flow_.newSort();
                          flow_.sessionStage()->offerResumable(parked);
                      },
                      [this](const QString& failure) { core_.raiseAlert(failure); });
}

void TrashStage::reloadTrashPreparation()
{
    if (!run_.trashPreparation)
        return;
    const TrashPreparation stored = *run_.trashPreparation;
    const QString base = execution_.journalBase();
    const TrashTransactionOptions options = transactionOptions(core_.services.fileOps);
    runTrashOperation([=] { return TrashTransactionCoordinator::reload(stored, base, options); },
                      [this](const TrashPreparation& reloaded) {
                          setTrashPreparation(reloaded);
                          if (waitsForDecision(reloaded))
                              core_.setRoute(AppRoute::trashConfirmation);
                      },
                      [this](const QString& failure) {
                          // Nothing continues automatically from a journal that cannot be trusted.
                          run_.trashJournalBlocked = true;
                          emit canCommitTrashChanged();
                          core_.raiseAlert(QStringLiteral("Das Papierkorb-Journal konnte nicht sicher fortgesetzt werden: ") + failure);
                      });
}

// The originals still waiting for the move: only these are untouched for sure; the kept
// files of this mode were already moved into the result folder.
QStringList TrashStage::trashFileNames() const
{
    QStringList names;
    if (!run_.trashPreparation)
        return names;
    for (const TrashEntry& entry : run_.trashPreparation->entries)
        if (entry.state == State::stagedVerified || entry.state == State::deferred || entry.state == State::trashIntent)
            names.append(entry.sourceURL.fileName());
    return names;
}

QString TrashStage::trashFilesTitle() const
{
    const qsizetype count = trashFileNames().size();
    return count == 1 ? QStringLiteral("1 Datei wird in den Papierkorb verschoben:")
                      : QStringLiteral("%1 Dateien werden in den Papierkorb verschoben:").arg(count);
}

QString TrashStage::trashConfirmationLead() const
{
    const QString untouched = QStringLiteral("Die aussortierten Originale sind noch unangetastet; ihre Sicherheitskopien liegen bereit.");
    const int organized = run_.lastResult ? run_.lastResult->organizedCount + run_.lastResult->skippedCount : 0;
    const QString kept = organized > 0
        ? QStringLiteral("Die behaltenen Dateien sind bereits in den Zielordner verschoben. ")
        : QString();
    return kept + untouched + QStringLiteral(" Jetzt folgt deine zweite Bestätigung.");
}

void TrashStage::openSafetyFolder()
{
    if (run_.trashPreparation && core_.services.desktop)
        core_.services.desktop->reveal(run_.trashPreparation->stagingRoot);
}

} // namespace kestrava
