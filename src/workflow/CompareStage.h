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
    // Whether the candidate's picture (or the failure of every try) is on screen: decisions
    // wait for it.
    Q_PROPERTY(bool candidateShown READ candidateShown NOTIFY candidateShownChanged)
    // What the top line and the inspector say while comparing: the candidate, the frame the
    // keys decide. Empty while the view is closed.
    Q_PROPERTY(QString candidateFileName READ candidateFileName NOTIFY textsChanged)
    // "12 / 120", worded as the single view words its place
    Q_PROPERTY(QString candidatePositionText READ candidatePositionText NOTIFY textsChanged)
    // Folder, size and file count of the candidate's group.
    Q_PROPERTY(QString candidateDetailsText READ candidateDetailsText NOTIFY textsChanged)
    // "Serie 2 von 7", the sharpest mark and the focus score, as the series stage words them.
    Q_PROPERTY(QString candidateSeriesText READ candidateSeriesText NOTIFY textsChanged)
    Q_PROPERTY(QString candidateSharpestText READ candidateSharpestText NOTIFY textsChanged)
    Q_PROPERTY(QString candidateScoreText READ candidateScoreText NOTIFY textsChanged)
    // Above each pane: "Favorit: IMG_0012", "Kandidat: IMG_0015".
    Q_PROPERTY(QString referenceCaption READ referenceCaption NOTIFY textsChanged)
    Q_PROPERTY(QString candidateCaption READ candidateCaption NOTIFY textsChanged)

public:
    explicit CompareStage(KestravaViewModel& viewModel, QObject* parent = nullptr);

    bool active() const { return active_; }
    int referenceIndex() const { return reference_; }
    int candidateIndex() const { return candidate_; }
    QString referencePath() const { return previewPath(reference_); }
    QString candidatePath() const { return previewPath(candidate_); }
    QString candidateFileName() const;
    QString candidatePositionText() const;
    QString candidateDetailsText() const;
    QString candidateSeriesText() const;
    QString candidateSharpestText() const;
    QString candidateScoreText() const;
    QString referenceCaption() const { return captionWording(true, shotName(reference_)); }
    QString candidateCaption() const { return captionWording(false, shotName(candidate_)); }
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
    // Takes back the last decision made in this comparison, journaled like every undo, and
    // makes that group the candidate again; the single view's group stays where it is. Says
    // so in the alert when nothing of this comparison is left to take back (decisions from
    // before it, or a series decision, stay as they are).
    Q_INVOKABLE bool undo();

    static QString nothingToCompareWording();
    static QString nothingToUndoWording();
    // "Favorit: IMG_0012" / "Kandidat: IMG_0015"; empty without a name.
    static QString captionWording(bool reference, const QString& shotName);

signals:
    void changed();
    // The texts above: with `changed`, and when a score or a series arrives.
    void textsChanged();
    void candidateShownChanged();

private:
    QString previewPath(int index) const;
    std::optional<ReviewGroup> group(int index) const;
    // The shot's name as photographers say it: the preview file without its extension.
    QString shotName(int index) const;
    // The first open group after `after` other than the reference; -1 when there is none.
    int nextOpen(int after) const;

    KestravaViewModel& viewModel_;
    bool active_ = false;
    int reference_ = -1;
    int candidate_ = -1;
    QString shownPath_;
    // Groups decided in this comparison, oldest first: what its undo may take back.
    QStringList decidedHere_;
};

} // namespace kestrava
