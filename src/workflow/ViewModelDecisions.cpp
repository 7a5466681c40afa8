// Deciding groups, stepping back and taking decisions back; the feedback overlay and the move
// to the confirmation screen once everything is decided.

#include "WindowWording.h"
#include "KestravaViewModel.h"
#include "session/SessionEvent.h"

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

void KestravaViewModel::applyDecisionToGroup(qsizetype groupIndex,
                                             const QList<std::pair<FileUrl, std::optional<PhotoDecision>>>& values)
{
    const ReviewGroup& group = run_.reviewGroups[groupIndex];
    const auto before = run_.index.decision(group, run_.photos);
    for (const auto& [url, value] : values) {
        const qsizetype i = run_.index.photoIndex(url);
        if (i >= 0)
            run_.photos[i].decision = value;
    }
    run_.tally.replace(before, run_.index.decision(group, run_.photos));
    emit photosChanged();
}

void KestravaViewModel::recalculateCounts()
{
    run_.tally.recalculate(effectiveReviewGroups(), run_.photos, run_.index);
    emit decisionCountsChanged();
    emit reviewStateChanged();
}

void KestravaViewModel::classify(const QString& decision)
{
    if (const auto value = enumFromRaw<PhotoDecision>(decision))
        classify(*value);
}

void KestravaViewModel::classify(PhotoDecision decision)
{
    const qsizetype groupIndex = run_.currentIndex;
    if (groupIndex < 0 || groupIndex >= run_.reviewGroups.size())
        return;
    // A decision needs the picture on screen and the previous decision safely written.
    if (run_.isApplying || !run_.isPreviewReady || run_.isCommittingDecision)
        return;
    const ReviewGroup& group = run_.reviewGroups[groupIndex];
    bool memberUndecided = false;
    HistoryEntry entry = undoEntryFor(run_, group, memberUndecided);
    const bool shouldPresentCompletion = undecidedGroupCount() == 1 && memberUndecided;

    run_.history.append(entry);
    applyDecisionToGroup(groupIndex, withDecision(group.memberURLs, decision));
    emit decisionCountsChanged();
    emit reviewStateChanged();
    showFeedback(group, decision);

    const int previousIndex = run_.currentIndex;
    const int nextIndex = run_.currentIndex >= reviewGroupCount() - 1 ? run_.currentIndex : run_.currentIndex + 1;
    commitDecision(groupIndex, decision, std::move(entry), decisionFailurePrefix, nextIndex, previousIndex,
                   shouldPresentCompletion);
}

void KestravaViewModel::reclassify(const QString& decision, const QString& groupID)
{
    if (const auto value = enumFromRaw<PhotoDecision>(decision))
        reclassify(*value, groupID);
}

void KestravaViewModel::reclassify(PhotoDecision decision, const QString& groupID)
{
    // The audit list shows its own thumbnails, so only the write guards apply here.
    const qsizetype groupIndex = run_.index.groupIndex(groupID);
    if (groupIndex < 0 || run_.isApplying || run_.isCommittingDecision)
        return;
    const ReviewGroup& group = run_.reviewGroups[groupIndex];
    bool memberUndecided = false;
    HistoryEntry entry = undoEntryFor(run_, group, memberUndecided);
    // Deciding the last open shot here ends the review as it does on the main screen.
    const bool shouldPresentCompletion = undecidedGroupCount() == 1 && memberUndecided;
    run_.history.append(entry);
    applyDecisionToGroup(groupIndex, withDecision(group.memberURLs, decision));
    emit decisionCountsChanged();
    emit reviewStateChanged();
    // The main review keeps its position.
    commitDecision(groupIndex, decision, std::move(entry), reclassifyFailurePrefix, run_.currentIndex, run_.currentIndex,
                   shouldPresentCompletion);
}

void KestravaViewModel::commitDecision(qsizetype groupIndex, PhotoDecision decision, HistoryEntry entry,
                                       const QString& failurePrefix, int nextIndex, int previousIndex,
                                       bool shouldPresentCompletion)
{
    if (!services_.sessionStore || !session_) {
        finishDecisionCommit(nextIndex, previousIndex, shouldPresentCompletion);
        emit decisionCommitted(entry.groupID);
        return;
    }
    setCommitting(true);
    const quint64 generation = core_.generation();
    const QList<FileUrl> urls = run_.reviewGroups[groupIndex].memberURLs;
    auto rollback = [this, generation, groupIndex, entry, failurePrefix](const QString& reason) {
        if (generation != core_.generation())
            return;
        // The history entry stays and the overlay runs its course; only the files go back.
        applyDecisionToGroup(groupIndex, entry.previous);
        recalculateCounts();
        setCommitting(false);
        setAlert(failurePrefix + reason);
    };
    persistEvent(SessionEventKind::decision, urls, decision, std::nullopt, nextIndex)
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

void KestravaViewModel::finishDecisionCommit(int nextIndex, int previousIndex, bool shouldPresentCompletion)
{
    if (nextIndex != previousIndex) {
        setCurrentIndex(nextIndex);
        // The next picture must be on screen before the next decision is accepted.
        setPreviewReadyFlag(false);
    }
    setCommitting(false);
    if (shouldPresentCompletion && undecidedGroupCount() < 1)
        scheduleReviewCompletion();
}

void KestravaViewModel::undoLastDecision()
{
    if (run_.isCommittingDecision)
        return;
    // Taking back the last decision also withdraws the pending move to the confirmation
    // screen and any request to open the audit list.
    cancelReviewCompletion();
    setShowReviewCompletion(false);
    audit_.withdrawRequest();

    if (run_.history.isEmpty()) {
        previousPhoto();
        return;
    }
    const HistoryEntry entry = run_.history.takeLast();
    const qsizetype groupIndex = run_.index.groupIndex(entry.groupID);
    if (groupIndex < 0)
        return;

    QList<std::pair<FileUrl, std::optional<PhotoDecision>>> undone;
    for (const auto& [url, previous] : entry.previous) {
        const qsizetype i = run_.index.photoIndex(url);
        undone.append({url, i >= 0 ? run_.photos[i].decision : std::nullopt});
    }
    applyDecisionToGroup(groupIndex, entry.previous);
    recalculateCounts();
    setCurrentIndex(int(groupIndex));
    setPreviewReadyFlag(false);

    if (!services_.sessionStore || !session_) {
        emit decisionCommitted(entry.groupID);
        return;
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
        setAlert(reason);
    };
    persistEvent(SessionEventKind::decision, urls, restored, std::nullopt, int(groupIndex))
        .then(this,
              [this, generation, groupID = entry.groupID](qint64) {
                  if (generation != core_.generation())
                      return;
                  setCommitting(false);
                  emit decisionCommitted(groupID);
              })
        .onFailed(this, [rollback](const QException& error) { rollback(failureText(error)); })
        .onFailed(this, [rollback] { rollback(unknownFailureText()); });
}

void KestravaViewModel::previousPhoto()
{
    if (run_.currentIndex < 1 || run_.isCommittingDecision)
        return;
    setCurrentIndex(run_.currentIndex - 1);
    setPreviewReadyFlag(false);
    saveSessionSnapshot();
}

void KestravaViewModel::setPreviewReady(bool ready, const QString& url)
{
    if (!ready) {
        setPreviewReadyFlag(false);
        return;
    }
    // A late callback for a group that is no longer current must not unlock decisions.
    if (!previewCandidates().contains(url))
        return;
    run_.previewReadyURL = url;
    setFlag(run_.isPreviewReady, true, &KestravaViewModel::isPreviewReadyChanged);
}

// ---- Feedback ------------------------------------------------------------------------------

void KestravaViewModel::cancelFeedbackTask()
{
    feedbackTimer_.stop();
    feedbackStage_ = 0;
}

void KestravaViewModel::showFeedback(const ReviewGroup& group, PhotoDecision decision)
{
    cancelFeedbackTask();
    QList<PhotoFormatGroup> formats;
    for (const FileUrl& member : group.memberURLs)
        formats.append(formatGroupForFileName(member.fileName()));
    const QString scope = Wording::decisionScopeTitle(formats);
    run_.decisionFeedback = DecisionFeedback{QUuid::createUuid(), decision, scope, int(group.memberURLs.size())};
    setFlag(run_.feedbackIsExiting, false, &KestravaViewModel::feedbackIsExitingChanged);
    emit decisionFeedbackChanged();

    accessibilityAnnouncement_ =
        WindowWording::decisionAnnouncement(decision, scope, group.memberURLs.size(), undecidedGroupCount() == 0);
    emit accessibilityAnnouncementChanged();

    feedbackTimer_.start(services_.timings.feedbackHold);
}

void KestravaViewModel::advanceFeedback()
{
    // Hold, then two exit steps of equal length (the screen animates each), then removal.
    switch (feedbackStage_) {
    case 0:
    case 1:
        ++feedbackStage_;
        run_.feedbackIsExiting = true;
        emit feedbackIsExitingChanged();
        feedbackTimer_.start(services_.timings.feedbackExitStep);
        return;
    default:
        feedbackStage_ = 0;
        run_.decisionFeedback.reset();
        emit decisionFeedbackChanged();
        setFlag(run_.feedbackIsExiting, false, &KestravaViewModel::feedbackIsExitingChanged);
        return;
    }
}

// ---- Completion ------------------------------------------------------------------------------

void KestravaViewModel::scheduleReviewCompletion()
{
    reviewCompletionTimer_.start();
}

void KestravaViewModel::cancelReviewCompletion()
{
    reviewCompletionTimer_.stop();
}

void KestravaViewModel::beginCompletionFlow()
{
    if (const int open = undecidedGroupCount(); open > 0) {
        setAlert(QStringLiteral("Bitte entscheide zuerst alle ") + QString::number(open)
                 + QStringLiteral(" offenen Motive."));
        return;
    }
    if (!run_.destinationFolder) {
        setAlert(QStringLiteral("Der Ergebnisordner ist noch nicht festgelegt."));
        return;
    }
    if (run_.pendingDecisionGroupID || run_.isCommittingDecision)
        return;
    setDestructiveConfirmationAccepted(false);
    setShowReviewCompletion(false);
    audit_.withdraw();
    setTrashCommitConfirmationAccepted(false);
    setRoute(AppRoute::confirmation);
    execution_.refreshStorageEstimate();
    saveSessionSnapshot(SortSessionStatus::ready);
}

void KestravaViewModel::returnToReview()
{
    if (route() != AppRoute::confirmation)
        return;
    setPreviewReadyFlag(false);
    setRoute(AppRoute::reviewing);
}

void KestravaViewModel::showGroupInMainReview(const QString& groupID)
{
    const qsizetype groupIndex = run_.index.groupIndex(groupID);
    if (groupIndex < 0 || run_.isCommittingDecision)
        return;
    if (groupIndex != run_.currentIndex) {
        setCurrentIndex(int(groupIndex));
        setPreviewReadyFlag(false);
    }
    setRoute(AppRoute::reviewing);
}

} // namespace kestrava
