#pragma once

// The review as the person works through it: the group on screen, the decisions on it, taking
// them back and stepping back, the feedback overlay and its announcement, and the move to the
// confirmation screen once every group is decided. The arrow keys act on this stage.
//
// Contract:
// - GUI thread only, like the core it stands on.
// - Every decision is journaled before it counts (DecisionJournal): while the write runs no
//   further decision, undo or step back is accepted, and a failed write restores the earlier
//   state and says why.
// - A decision needs the current group's picture on screen (`setPreviewReady`); the audit
//   list's `reclassify` shows its own thumbnails and only waits for the journal.
// - Owns one feedback overlay and one pending move to completion; a new run cancels both.
//
// Split by concern: ReviewStage.cpp (decisions, history, feedback, completion),
// ReviewStageValues.cpp (derived values and their QML forms).

#include "DecisionJournal.h"
#include "DecisionValue.h"
#include "ReviewIndex.h"
#include "ReviewValues.h"
#include "WorkflowCore.h"

#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QStringList>

namespace kestrava {

class KestravaViewModel;
class ReviewKeyFilter;

class ReviewStage : public QObject {
    Q_OBJECT
    Q_PROPERTY(int currentIndex READ currentIndex NOTIFY currentIndexChanged)
    Q_PROPERTY(bool isPreviewReady READ isPreviewReady NOTIFY isPreviewReadyChanged)
    Q_PROPERTY(bool isCommittingDecision READ isCommittingDecision NOTIFY isCommittingDecisionChanged)
    Q_PROPERTY(kestrava::FeedbackValue decisionFeedback READ decisionFeedbackValue NOTIFY decisionFeedbackChanged)
    Q_PROPERTY(bool feedbackIsExiting READ feedbackIsExiting NOTIFY feedbackIsExitingChanged)
    // Indexed by `Decision`, like the labels.
    Q_PROPERTY(QList<int> decisionCounts READ decisionCountList NOTIFY decisionCountsChanged)
    Q_PROPERTY(QStringList decisionLabels READ decisionLabels CONSTANT)
    // What a screen reader says for a decision's button once it is the group's decision.
    Q_PROPERTY(QStringList selectedDecisionLabels READ selectedDecisionLabels CONSTANT)
    Q_PROPERTY(bool showReviewCompletion READ showReviewCompletion NOTIFY showReviewCompletionChanged)
    Q_PROPERTY(QString pendingDecisionGroupID READ pendingDecisionGroupIDText WRITE setPendingDecisionGroupID NOTIFY pendingDecisionGroupIDChanged)
    Q_PROPERTY(int reviewGroupCount READ reviewGroupCount NOTIFY reviewStateChanged)
    Q_PROPERTY(kestrava::CurrentGroup currentGroup READ currentGroupValue NOTIFY reviewStateChanged)
    // "3 / 120"; empty without groups.
    Q_PROPERTY(QString positionText READ positionText NOTIFY reviewStateChanged)
    Q_PROPERTY(int classifiedCount READ classifiedCount NOTIFY reviewStateChanged)
    Q_PROPERTY(QStringList previewCandidates READ previewCandidates NOTIFY reviewStateChanged)
    Q_PROPERTY(bool acceptsReviewShortcuts READ acceptsReviewShortcuts NOTIFY acceptsReviewShortcutsChanged)
    Q_PROPERTY(QString accessibilityAnnouncement READ accessibilityAnnouncement NOTIFY accessibilityAnnouncementChanged)
    // Why a decision key does nothing right now: "Entscheidung wird gesichert" while the last
    // one is journaled, "Nächstes Foto wird geladen" once a key came before the picture; empty
    // otherwise (a picture merely loading is said by the stage itself).
    Q_PROPERTY(QString inputGuardText READ inputGuardText NOTIFY inputGuardTextChanged)

public:
    ReviewStage(WorkflowCore& core, KestravaViewModel& flow, DecisionJournal& journal);
    ~ReviewStage() override;

    int currentIndex() const { return run().currentIndex; }
    bool isPreviewReady() const { return run().isPreviewReady; }
    bool isCommittingDecision() const { return run().isCommittingDecision; }
    const std::optional<DecisionFeedback>& decisionFeedback() const { return run().decisionFeedback; }
    FeedbackValue decisionFeedbackValue() const;
    bool feedbackIsExiting() const { return run().feedbackIsExiting; }
    int decisionCount(PhotoDecision decision) const { return run().tally.count(decision); }
    QList<int> decisionCountList() const;
    static QStringList decisionLabels();
    static QStringList selectedDecisionLabels();
    bool showReviewCompletion() const { return run().showReviewCompletion; }
    const std::optional<QString>& pendingDecisionGroupID() const { return run().pendingDecisionGroupID; }
    QString pendingDecisionGroupIDText() const { return run().pendingDecisionGroupID.value_or(QString()); }
    void setPendingDecisionGroupID(const QString& groupID);
    const QList<HistoryEntry>& history() const { return run().history; }
    bool acceptsReviewShortcuts() const;
    // The text of the last decision's screen-reader announcement.
    const QString& accessibilityAnnouncement() const { return accessibilityAnnouncement_; }
    QString inputGuardText() const;

    // ---- Derived (ReviewStageValues.cpp) ---------------------------------------------------
    // The stored groups, or, when none are stored but photos are, the groups built from them.
    QList<ReviewGroup> effectiveReviewGroups() const;
    int reviewGroupCount() const;
    std::optional<ReviewGroup> currentGroup() const;
    CurrentGroup currentGroupValue() const;
    // "folder  ·  size  ·  files" of `group`, as the top line shows it.
    QString detailText(const ReviewGroup& group) const;
    QString positionText() const;
    int classifiedCount() const { return run().tally.classified(); }
    int undecidedGroupCount() const { return reviewGroupCount() - classifiedCount(); }
    // The decision of the group's first member among the photos.
    std::optional<PhotoDecision> decision(const ReviewGroup& group) const;
    // One entry per effective group in review order: what the timeline colours.
    QList<std::optional<PhotoDecision>> decisionTimeline() const;
    std::optional<PhotoItem> photo(const ReviewGroup& group) const;
    // The current group's preview file first, then its other members; empty without a group.
    QStringList previewCandidates() const;

    // ---- Intents ---------------------------------------------------------------------------
    Q_INVOKABLE void classify(kestrava::Decision::Value decision) { classify(Decision::toModel(decision)); }
    void classify(PhotoDecision decision);
    Q_INVOKABLE void reclassify(kestrava::Decision::Value decision, const QString& groupID)
    {
        reclassify(Decision::toModel(decision), groupID);
    }
    void reclassify(PhotoDecision decision, const QString& groupID);
    Q_INVOKABLE void undoLastDecision();
    // Takes back the last single decision like undo, but the review stays where it stands (the
    // compare view brings the group back as its candidate). False when nothing was taken back.
    bool undoLastDecisionInPlace();
    // One action over several groups (ReviewStageSeries.cpp): `keep` kept (when given) and
    // `reject` rejected, every group only if still undecided; journaled per decision, taken
    // back by one undo. Then the review stands at `nextIndex`. False when the guards refuse.
    bool decideGroups(std::optional<qsizetype> keep, const QList<qsizetype>& reject, int nextIndex);
    Q_INVOKABLE void previousPhoto();
    Q_INVOKABLE void beginCompletionFlow();
    // Whether a preview of `url` is on screen; only one of the current group's files counts.
    Q_INVOKABLE void setPreviewReady(bool ready, const QString& url);
    Q_INVOKABLE void returnToReview();
    Q_INVOKABLE void showGroupInMainReview(const QString& groupID);
    Q_INVOKABLE void installArrowKeyMonitor();
    Q_INVOKABLE void removeArrowKeyMonitor();
    bool hasArrowKeyMonitor() const { return !keyMonitor_.isNull(); }

    // ---- For the flow that loads and restores runs -----------------------------------------
    void setCurrentIndex(int index);
    // The picture on screen no longer counts: the next decision waits for a new one.
    void withdrawPreview();
    // Rebuilds the groups and the index from the photos.
    void rebuildGroups();
    void recalculateCounts();
    // The photos were replaced: back to the first group, with no history.
    void startOver();

signals:
    void currentIndexChanged();
    void isPreviewReadyChanged();
    void inputGuardTextChanged();
    void isCommittingDecisionChanged();
    void decisionFeedbackChanged();
    void feedbackIsExitingChanged();
    void decisionCountsChanged();
    void showReviewCompletionChanged();
    void pendingDecisionGroupIDChanged();
    // Photos, groups, decisions or the index changed: every value derived from them.
    void reviewStateChanged();
    void acceptsReviewShortcutsChanged();
    void accessibilityAnnouncementChanged();
    // A decision (or undo) reached the journal, or was applied without a session.
    void decisionCommitted(const QString& groupID);

private:
    RunState& run() { return core_.run; }
    const RunState& run() const { return core_.run; }
    void setFlag(bool& field, bool value, void (ReviewStage::*signal)());
    void setCommitting(bool committing) { setFlag(run().isCommittingDecision, committing, &ReviewStage::isCommittingDecisionChanged); }
    void setShowReviewCompletion(bool show) { setFlag(run().showReviewCompletion, show, &ReviewStage::showReviewCompletionChanged); }
    void applyDecisionToGroup(qsizetype groupIndex, const QList<std::pair<FileUrl, std::optional<PhotoDecision>>>& values);
    // Shows `decision` on the group before it is journaled and records how to take it back;
    // also says whether it decided the last open group. The caller commits the returned entry.
    std::pair<HistoryEntry, bool> decideInPlace(qsizetype groupIndex, PhotoDecision decision);
    void commitDecision(qsizetype groupIndex, PhotoDecision decision, HistoryEntry entry, const QString& failurePrefix,
                        int nextIndex, int previousIndex, bool shouldPresentCompletion);
    void finishDecisionCommit(int nextIndex, int previousIndex, bool shouldPresentCompletion);
    void showFeedback(const ReviewGroup& group, PhotoDecision decision);
    void advanceFeedback();
    void cancelTasks();
    bool undoLast(bool movesReview);
    // ReviewStageSeries.cpp: takes back the batch at the end of the history.
    void undoBatch();

    WorkflowCore& core_;
    KestravaViewModel& flow_;
    DecisionJournal& journal_;
    QString accessibilityAnnouncement_;
    QPointer<ReviewKeyFilter> keyMonitor_;
    QTimer feedbackTimer_;
    int feedbackStage_ = 0;
    QTimer reviewCompletionTimer_;
    quint64 lastBatch_ = 0;
};

} // namespace kestrava
