#include "CompareStage.h"

#include "KestravaViewModel.h"
#include "WindowWording.h"

#include <QFileInfo>

namespace kestrava {

CompareStage::CompareStage(KestravaViewModel& viewModel, QObject* parent) : QObject(parent), viewModel_(viewModel)
{
    // Another folder or a rebuilt list of groups: indices no longer mean the same frames.
    connect(&viewModel_, &KestravaViewModel::sourceFolderChanged, this, &CompareStage::close);
    connect(&viewModel_, &KestravaViewModel::routeChanged, this, [this] {
        if (viewModel_.route() != AppRoute::reviewing)
            close();
    });
    connect(this, &CompareStage::changed, this, &CompareStage::textsChanged);
    connect(this, &CompareStage::changed, this, &CompareStage::candidateShownChanged);
    // Scores arrive one by one in the background; only the texts follow them, not the panes.
    connect(viewModel_.series(), &SeriesStage::changed, this, [this] {
        if (active_)
            emit textsChanged();
    });
}

void CompareStage::setCandidateShown(const QString& previewPath)
{
    shownPath_ = previewPath;
    emit candidateShownChanged();
}

QString CompareStage::previewPath(int index) const
{
    const QList<ReviewGroup> groups = viewModel_.review()->effectiveReviewGroups();
    return index >= 0 && index < groups.size() ? groups[index].previewURL.path() : QString();
}

std::optional<ReviewGroup> CompareStage::group(int index) const
{
    if (!active_)
        return std::nullopt;
    const QList<ReviewGroup> groups = viewModel_.review()->effectiveReviewGroups();
    return index >= 0 && index < groups.size() ? std::optional(groups[index]) : std::nullopt;
}

QString CompareStage::shotName(int index) const
{
    const auto shot = group(index);
    return shot ? QFileInfo(shot->previewURL.fileName()).completeBaseName() : QString();
}

QString CompareStage::candidateFileName() const
{
    const auto shot = group(candidate_);
    return shot ? shot->previewURL.fileName() : QString();
}

QString CompareStage::candidatePositionText() const
{
    return active_ ? WindowWording::positionText(candidate_, viewModel_.review()->reviewGroupCount()) : QString();
}

QString CompareStage::candidateDetailsText() const
{
    // The single view's line for the same shot: one wording, and the photos found by index
    // rather than by a walk over the whole shoot on every score that arrives.
    const auto shot = group(candidate_);
    return shot ? viewModel_.review()->detailText(*shot) : QString();
}

QString CompareStage::candidateSeriesText() const
{
    return active_ ? viewModel_.series()->positionTextFor(candidate_) : QString();
}

QString CompareStage::candidateSharpestText() const
{
    return active_ && viewModel_.series()->isSharpest(candidate_) ? SeriesStage::sharpestWording() : QString();
}

QString CompareStage::candidateScoreText() const
{
    const std::optional<float> score = active_ ? viewModel_.series()->score(candidate_) : std::nullopt;
    return score ? SeriesStage::scoreWording(*score) : QString();
}

int CompareStage::nextOpen(int after) const
{
    const ReviewStage& review = *viewModel_.review();
    const QList<ReviewGroup> groups = review.effectiveReviewGroups();
    for (int i = qMax(after + 1, 0); i < groups.size(); ++i)
        if (i != reference_ && !review.decision(groups[i]))
            return i;
    return -1;
}

QList<int> CompareStage::nextCandidates(int after, int count) const
{
    QList<int> next;
    for (int i = nextOpen(after); i >= 0 && next.size() < count; i = nextOpen(i))
        next.append(i);
    return next;
}

bool CompareStage::open()
{
    if (active_ || viewModel_.route() != AppRoute::reviewing)
        return false;
    reference_ = viewModel_.review()->currentIndex();
    const int candidate = nextOpen(reference_);
    if (candidate < 0) {
        reference_ = -1;
        viewModel_.raiseAlert(nothingToCompareWording());
        return false;
    }
    candidate_ = candidate;
    active_ = true;
    emit changed();
    return true;
}

void CompareStage::close()
{
    if (!active_)
        return;
    active_ = false;
    reference_ = candidate_ = -1;
    decidedHere_.clear();
    emit changed();
}

bool CompareStage::decide(PhotoDecision decision)
{
    ReviewStage& review = *viewModel_.review();
    if (!active_ || review.isCommittingDecision() || !candidateShown())
        return false;
    const QList<ReviewGroup> groups = review.effectiveReviewGroups();
    if (candidate_ < 0 || candidate_ >= groups.size())
        return false;
    const ReviewGroup& group = groups[candidate_];
    review.reclassify(decision, group.id);
    // Applied at once and journaled behind it; a refused or failed write leaves it as it was.
    if (review.decision(group) != decision)
        return false;
    decidedHere_.append(group.id);
    const int next = nextOpen(candidate_);
    if (next < 0) {
        close();
        return true;
    }
    candidate_ = next;
    emit changed();
    return true;
}

void CompareStage::takeCandidateAsReference()
{
    if (!active_ || candidate_ < 0)
        return;
    reference_ = candidate_;
    const int next = nextOpen(reference_);
    if (next < 0) {
        // Nothing open after the new favourite: the previous reference stays beside it.
        viewModel_.raiseAlert(nothingToCompareWording());
        close();
        return;
    }
    candidate_ = next;
    emit changed();
}

bool CompareStage::undo()
{
    ReviewStage& review = *viewModel_.review();
    if (!active_ || review.isCommittingDecision())
        return false;
    // Only while the last decision of the history is still this comparison's own.
    const QList<HistoryEntry>& history = review.history();
    if (decidedHere_.isEmpty() || history.isEmpty() || history.last().batch != 0
        || history.last().groupID != decidedHere_.last()) {
        decidedHere_.clear();
        viewModel_.raiseAlert(nothingToUndoWording());
        return false;
    }
    const QString groupID = decidedHere_.takeLast();
    if (!review.undoLastDecisionInPlace())
        return false;
    // The pane still reported the frame that was candidate before this one came back; the
    // change below announces it.
    shownPath_.clear();
    const QList<ReviewGroup> groups = review.effectiveReviewGroups();
    for (int i = 0; i < groups.size(); ++i) {
        if (groups[i].id == groupID) {
            candidate_ = i;
            break;
        }
    }
    emit changed();
    return true;
}

QString CompareStage::nothingToUndoWording()
{
    return QStringLiteral("In diesem Vergleich ist noch nichts entschieden, das sich zurücknehmen ließe.");
}

QString CompareStage::captionWording(bool reference, const QString& shotName)
{
    if (shotName.isEmpty())
        return {};
    return (reference ? QStringLiteral("Favorit: ") : QStringLiteral("Kandidat: ")) + shotName;
}

QString CompareStage::nothingToCompareWording()
{
    return QStringLiteral("Nach dieser Aufnahme ist keine offene mehr zum Vergleichen da.");
}

} // namespace kestrava
