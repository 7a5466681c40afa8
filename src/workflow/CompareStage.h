#pragma once

// Two frames side by side: a reference ("Favorit") held on the left, a candidate on the right.
// Decisions go to the candidate, which then moves on to the next open group; the candidate can
// become the new reference. The panes' layout, zoom and panning belong to the screen; which
// groups they show, and what a key does to them, is decided here.
//
// GUI thread only. Decisions go through the review stage's journaled path (as from the audit
// list): nothing counts before it is written.

#include "DecisionValue.h"
#include "model/PhotoModel.h"

#include <QObject>

namespace kestrava {

class KestravaViewModel;

class CompareStage : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool active READ active NOTIFY changed)
    Q_PROPERTY(int referenceIndex READ referenceIndex NOTIFY changed)
    Q_PROPERTY(int candidateIndex READ candidateIndex NOTIFY changed)
    // Preview files of the two panes, empty without a group.
    Q_PROPERTY(QString referencePath READ referencePath NOTIFY changed)
    Q_PROPERTY(QString candidatePath READ candidatePath NOTIFY changed)

public:
    explicit CompareStage(KestravaViewModel& viewModel, QObject* parent = nullptr);

    bool active() const { return active_; }
    int referenceIndex() const { return reference_; }
    int candidateIndex() const { return candidate_; }
    QString referencePath() const { return previewPath(reference_); }
    QString candidatePath() const { return previewPath(candidate_); }
    // The open groups after `after` in review order, at most `count`: the candidates to come,
    // for prefetching.
    QList<int> nextCandidates(int after, int count) const;

    // The current group becomes the reference, the next open group after it the candidate.
    // Says so in the alert and stays closed when no open group follows.
    Q_INVOKABLE bool open();
    Q_INVOKABLE void close();
    // The screen reports the candidate's picture (or the failure of every try) on screen; a
    // decision waits for it, as in the single view.
    void setCandidateShown(const QString& previewPath);
    bool candidateShown() const { return !candidatePath().isEmpty() && shownPath_ == candidatePath(); }
    // Decides the candidate once it is on screen, then shows the next open group after it;
    // closes when none is left.
    Q_INVOKABLE bool decide(kestrava::Decision::Value decision) { return decide(Decision::toModel(decision)); }
    bool decide(PhotoDecision decision);
    // The candidate becomes the reference; the next open group after it the candidate.
    Q_INVOKABLE void takeCandidateAsReference();

    static QString nothingToCompareWording();

signals:
    void changed();

private:
    QString previewPath(int index) const;
    // The first open group after `after` other than the reference; -1 when there is none.
    int nextOpen(int after) const;

    KestravaViewModel& viewModel_;
    bool active_ = false;
    int reference_ = -1;
    int candidate_ = -1;
    QString shownPath_;
};

} // namespace kestrava
