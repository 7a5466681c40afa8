#include "ReviewStage.h"
#include "WindowWording.h"
#include "KestravaViewModel.h"
#include "ReviewKeyFilter.h"
#include "session/SessionEvent.h"

#include <QCoreApplication>

#include <utility>

namespace kestrava {

namespace {

// What undo restores for `group`: each member's decision before this one. `memberUndecided`
// tells whether any member had none yet, which makes this decision count towards completion.
HistoryEntry undoEntryFor(const RunState& run, const ReviewGroup& group, bool& memberUndecided)
{
    HistoryEntry entry{group.id, {}};
    entry.previous.reserve(group.memberURLs.size());
    for (const FileUrl& url : group.memberURLs) {
        const qsizetype i = run.index.photoIndex(url);
        const std::optional<PhotoDecision> previous = i >= 0 ? run.photos[i].decision : std::nullopt;
        memberUndecided = memberUndecided || !previous;
        entry.previous.append({url, previous});
    }
    return entry;
}


const QString decisionFailurePrefix = QStringLiteral("Die Entscheidung konnte nicht sicher gespeichert werden: ");
const QString reclassifyFailurePrefix = QStringLiteral("Die Änderung konnte nicht sicher gespeichert werden: ");

QList<std::pair<FileUrl, std::optional<PhotoDecision>>> withDecision(const QList<FileUrl>& urls,
                                                                     std::optional<PhotoDecision> decision)
{
    QList<std::pair<FileUrl, std::optional<PhotoDecision>>> values;
    values.reserve(urls.size());
    for (const FileUrl& url : urls)
        values.append({url, decision});
    return values;
}

} // namespace

ReviewStage::ReviewStage(WorkflowCore& core, KestravaViewModel& flow, DecisionJournal& journal)
    : QObject(&flow), core_(core), flow_(flow), journal_(journal)
{
    feedbackTimer_.setSingleShot(true);
    connect(&feedbackTimer_, &QTimer::timeout, this, &ReviewStage::advanceFeedback);
    reviewCompletionTimer_.setSingleShot(true);
    reviewCompletionTimer_.setInterval(core_.services.timings.completionDelay);
    // The timer dies with this object, so a late tick can never reach a destroyed stage.
    connect(&reviewCompletionTimer_, &QTimer::timeout, this, [this] {
        if (core_.route() == AppRoute::reviewing)
            beginCompletionFlow();
    });
    connect(&core_, &WorkflowCore::routeChanged, this, &ReviewStage::acceptsReviewShortcutsChanged);
    connect(flow_.audit(), &AuditStage::presentedChanged, this, &ReviewStage::acceptsReviewShortcutsChanged);
    for (auto signal : {&ReviewStage::isPreviewReadyChanged, &ReviewStage::isCommittingDecisionChanged,
                        &ReviewStage::currentIndexChanged})
        connect(this, signal, this, &ReviewStage::inputGuardTextChanged);
    connect(&core_, &WorkflowCore::runReset, this, [this] {
        cancelTasks();
        for (auto signal : {&ReviewStage::currentIndexChanged, &ReviewStage::decisionCountsChanged,
                            &ReviewStage::decisionFeedbackChanged, &ReviewStage::feedbackIsExitingChanged,
                            &ReviewStage::showReviewCompletionChanged, &ReviewStage::pendingDecisionGroupIDChanged,
                            &ReviewStage::isPreviewReadyChanged, &ReviewStage::isCommittingDecisionChanged,
                            &ReviewStage::reviewStateChanged})
            emit(this->*signal)();
    });
}

ReviewStage::~ReviewStage()
{
    removeArrowKeyMonitor();
}

void ReviewStage::cancelTasks()
{
    feedbackTimer_.stop();
    feedbackStage_ = 0;
    reviewCompletionTimer_.stop();
}

// ---- Decisions ---------------------------------------------------------------------------

void ReviewStage::applyDecisionToGroup(qsizetype groupIndex,
                                             const QList<std::pair<FileUrl, std::optional<PhotoDecision>>>& values)
{
    const ReviewGroup& group = run().reviewGroups[groupIndex];
    const auto before = run().index.decision(group, run().photos);
    for (const auto& [url, value] : values) {
        const qsizetype i = run().index.photoIndex(url);
        if (i >= 0)
            run().photos[i].decision = value;
    }
    run().tally.replace(before, run().index.decision(group, run().photos));
    emit flow_.loading()->photosChanged();
}

void ReviewStage::recalculateCounts()
{
    run().tally.recalculate(effectiveReviewGroups(), run().photos, run().index);
    emit decisionCountsChanged();
    emit reviewStateChanged();
}

void ReviewStage::classify(PhotoDecision decision)
{
    const qsizetype groupIndex = run().currentIndex;
    if (groupIndex < 0 || groupIndex >= run().reviewGroups.size())
        return;
    // A decision needs the picture on screen and the previous decision safely written.
    if (run().isApplying || run().isCommittingDecision)
        return;
    if (!run().isPreviewReady) {
        if (!std::exchange(run().keyRefusedWhileLoading, true))
            emit inputGuardTextChanged();
        return;
    }
    auto [entry, shouldPresentCompletion] = decideInPlace(groupIndex, decision);
    showFeedback(run().reviewGroups[groupIndex], decision);

    const int previousIndex = run().currentIndex;
    const int nextIndex = run().currentIndex >= reviewGroupCount() - 1 ? run().currentIndex : run().currentIndex + 1;
    commitDecision(groupIndex, decision, std::move(entry), decisionFailurePrefix, nextIndex, previousIndex,
                   shouldPresentCompletion);
}

std::pair<HistoryEntry, bool> ReviewStage::decideInPlace(qsizetype groupIndex, PhotoDecision decision)
{
    const ReviewGroup& group = run().reviewGroups[groupIndex];
    bool memberUndecided = false;
    HistoryEntry entry = undoEntryFor(run(), group, memberUndecided);
    const bool completesReview = undecidedGroupCount() == 1 && memberUndecided;
    run().history.append(entry);
    applyDecisionToGroup(groupIndex, withDecision(group.memberURLs, decision));
    emit decisionCountsChanged();
    emit reviewStateChanged();
    return {std::move(entry), completesReview};
}

void ReviewStage::reclassify(PhotoDecision decision, const QString& groupID)
{
    // The audit list shows its own thumbnails, so only the write guards apply here.
    const qsizetype groupIndex = run().index.groupIndex(groupID);
    if (groupIndex < 0 || run().isApplying || run().isCommittingDecision)
        return;
    // Deciding the last open shot here ends the review as it does on the main screen.
    auto [entry, shouldPresentCompletion] = decideInPlace(groupIndex, decision);
    // The main review keeps its position.
    commitDecision(groupIndex, decision, std::move(entry), reclassifyFailurePrefix, run().currentIndex, run().currentIndex,
                   shouldPresentCompletion);
}

void ReviewStage::commitDecision(qsizetype groupIndex, PhotoDecision decision, HistoryEntry entry,
                                       const QString& failurePrefix, int nextIndex, int previousIndex,
                                       bool shouldPresentCompletion)
{
    if (!journal_.isOpen()) {
        finishDecisionCommit(nextIndex, previousIndex, shouldPresentCompletion);
        emit decisionCommitted(entry.groupID);
        return;
    }
    setCommitting(true);
    const quint64 generation = core_.generation();
    const QList<FileUrl> urls = run().reviewGroups[groupIndex].memberURLs;
    auto rollback = [this, generation, groupIndex, entry, failurePrefix](const QString& reason) {
        if (generation != core_.generation())
            return;
        // The history entry stays and the overlay runs its course; only the files go back.
        applyDecisionToGroup(groupIndex, entry.previous);
        recalculateCounts();
        setCommitting(false);
        core_.raiseAlert(failurePrefix + reason);
    };
    journal_.append(SessionEventKind::decision, urls, decision, std::nullopt, nextIndex)
        .then(this,
              [this, generation, nextIndex, previousIndex, shouldPresentCompletion, groupID = entry.groupID](qint64) {
                  if (generation != core_.generation())
                      return;
                  finishDecisionCommit(nextIndex, previousIndex, shouldPresentCompletion);
                  emit decisionCommitted(groupID);
              })
        .onFailed(this, [rollback](const QException& error) { rollback(failureText(error)); })
        .onFailed(this, [rollback] { rollback(unknownFailureText()); });
}

void ReviewStage::finishDecisionCommit(int nextIndex, int previousIndex, bool shouldPresentCompletion)
{
    if (nextIndex != previousIndex) {
        setCurrentIndex(nextIndex);
        // The next picture must be on screen before the next decision is accepted.
        withdrawPreview();
    }
    setCommitting(false);
    if (shouldPresentCompletion && undecidedGroupCount() < 1)
        reviewCompletionTimer_.start();
}

void ReviewStage::undoLastDecision()
{
    undoLast(true);
}

bool ReviewStage::undoLastDecisionInPlace()
{
    return undoLast(false);
}

bool ReviewStage::undoLast(bool movesReview)
{
    if (run().isCommittingDecision)
        return false;
    // In place, only a single decision is taken back: a batch spans groups the caller did not
    // decide, and an empty history has nothing to step back to without moving.
    if (!movesReview && (run().history.isEmpty() || run().history.last().batch != 0))
        return false;
    // Taking back the last decision also withdraws the pending move to the confirmation
    // screen and any request to open the audit list.
    reviewCompletionTimer_.stop();
    setShowReviewCompletion(false);
    flow_.audit()->withdrawRequest();

    if (run().history.isEmpty()) {
        previousPhoto();
        return true;
    }
    if (run().history.last().batch != 0) {
        undoBatch();
        return true;
    }
    const HistoryEntry entry = run().history.takeLast();
    const qsizetype groupIndex = run().index.groupIndex(entry.groupID);
    if (groupIndex < 0)
        return false;

    QList<std::pair<FileUrl, std::optional<PhotoDecision>>> undone;
    for (const auto& [url, previous] : entry.previous) {
        const qsizetype i = run().index.photoIndex(url);
        undone.append({url, i >= 0 ? run().photos[i].decision : std::nullopt});
    }
    applyDecisionToGroup(groupIndex, entry.previous);
    recalculateCounts();
    if (movesReview) {
        setCurrentIndex(int(groupIndex));
        withdrawPreview();
    }

    if (!journal_.isOpen()) {
        emit decisionCommitted(entry.groupID);
        return true;
    }
    // No undo event kind exists: the restored values are journaled as an ordinary decision,
    // so replaying the log arrives at the restored state.
    QList<FileUrl> urls;
    std::optional<PhotoDecision> restored;
    for (const auto& [url, previous] : entry.previous) {
        urls.append(url);
        if (!restored)
            restored = previous;
    }
    setCommitting(true);
    const quint64 generation = core_.generation();
    auto rollback = [this, generation, groupIndex, undone](const QString& reason) {
        if (generation != core_.generation())
            return;
        applyDecisionToGroup(groupIndex, undone);
        recalculateCounts();
        setCommitting(false);
        core_.raiseAlert(reason);
    };
    journal_.append(SessionEventKind::decision, urls, restored, std::nullopt, run().currentIndex)
        .then(this,
              [this, generation, groupID = entry.groupID](qint64) {
                  if (generation != core_.generation())
                      return;
                  setCommitting(false);
                  emit decisionCommitted(groupID);
              })
        .onFailed(this, [rollback](const QException& error) { rollback(failureText(error)); })
        .onFailed(this, [rollback] { rollback(unknownFailureText()); });
    return true;
}

void ReviewStage::previousPhoto()
{
    if (run().currentIndex < 1 || run().isCommittingDecision)
        return;
    setCurrentIndex(run().currentIndex - 1);
    withdrawPreview();
    flow_.saveSessionSnapshot();
}

void ReviewStage::setPreviewReady(bool ready, const QString& url)
{
    if (!ready) {
        withdrawPreview();
        return;
    }
    // A late callback for a group that is no longer current must not unlock decisions.
    if (!previewCandidates().contains(url))
        return;
    run().previewReadyURL = url;
    run().keyRefusedWhileLoading = false;
    setFlag(run().isPreviewReady, true, &ReviewStage::isPreviewReadyChanged);
}

QString ReviewStage::inputGuardText() const
{
    return WindowWording::inputGuardText(run().isCommittingDecision, run().isPreviewReady || !run().keyRefusedWhileLoading,
                                         currentGroup().has_value());
}

// ---- Feedback ------------------------------------------------------------------------------

void ReviewStage::showFeedback(const ReviewGroup& group, PhotoDecision decision)
{
    feedbackTimer_.stop();
    feedbackStage_ = 0;
    QList<PhotoFormatGroup> formats;
    for (const FileUrl& member : group.memberURLs)
        formats.append(formatGroupForFileName(member.fileName()));
    const QString scope = Wording::decisionScopeTitle(formats);
    run().decisionFeedback = DecisionFeedback{QUuid::createUuid(), decision, scope, int(group.memberURLs.size())};
    setFlag(run().feedbackIsExiting, false, &ReviewStage::feedbackIsExitingChanged);
    emit decisionFeedbackChanged();

    accessibilityAnnouncement_ =
        WindowWording::decisionAnnouncement(decision, scope, group.memberURLs.size(), undecidedGroupCount() == 0);
    emit accessibilityAnnouncementChanged();

    feedbackTimer_.start(core_.services.timings.feedbackHold);
}

void ReviewStage::advanceFeedback()
{
    // Hold, then two exit steps of equal length (the screen animates each), then removal.
    switch (feedbackStage_) {
    case 0:
    case 1:
        ++feedbackStage_;
        run().feedbackIsExiting = true;
        emit feedbackIsExitingChanged();
        feedbackTimer_.start(core_.services.timings.feedbackExitStep);
        return;
    default:
        feedbackStage_ = 0;
        run().decisionFeedback.reset();
        emit decisionFeedbackChanged();
        setFlag(run().feedbackIsExiting, false, &ReviewStage::feedbackIsExitingChanged);
        return;
    }
}

// ---- Completion ------------------------------------------------------------------------------

void ReviewStage::beginCompletionFlow()
{
    if (const int open = undecidedGroupCount(); open > 0) {
        core_.raiseAlert(QStringLiteral("Bitte entscheide zuerst alle ") + QString::number(open)
                 + QStringLiteral(" offenen Motive."));
        return;
    }
    if (!run().destinationFolder) {
        core_.raiseAlert(QStringLiteral("Der Ergebnisordner ist noch nicht festgelegt."));
        return;
    }
    if (run().pendingDecisionGroupID || run().isCommittingDecision)
        return;
    flow_.setDestructiveConfirmationAccepted(false);
    setShowReviewCompletion(false);
    flow_.audit()->withdraw();
    flow_.setTrashCommitConfirmationAccepted(false);
    core_.setRoute(AppRoute::confirmation);
    flow_.execution()->refreshStorageEstimate();
    flow_.saveSessionSnapshot(SortSessionStatus::ready);
}

void ReviewStage::returnToReview()
{
    if (core_.route() != AppRoute::confirmation)
        return;
    withdrawPreview();
    core_.setRoute(AppRoute::reviewing);
}

void ReviewStage::showGroupInMainReview(const QString& groupID)
{
    const qsizetype groupIndex = run().index.groupIndex(groupID);
    if (groupIndex < 0 || run().isCommittingDecision)
        return;
    if (groupIndex != run().currentIndex) {
        setCurrentIndex(int(groupIndex));
        withdrawPreview();
    }
    core_.setRoute(AppRoute::reviewing);
}

// ---- Keyboard ----------------------------------------------------------------------------

void ReviewStage::installArrowKeyMonitor()
{
    if (keyMonitor_ || !QCoreApplication::instance())
        return;
    keyMonitor_ = new ReviewKeyFilter(this, flow_.series(), flow_.compare());
    QCoreApplication::instance()->installEventFilter(keyMonitor_);
}

void ReviewStage::removeArrowKeyMonitor()
{
    if (!keyMonitor_)
        return;
    if (QCoreApplication::instance())
        QCoreApplication::instance()->removeEventFilter(keyMonitor_);
    delete keyMonitor_.data();
    keyMonitor_.clear();
}

} // namespace kestrava
