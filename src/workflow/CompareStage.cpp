#include "CompareStage.h"

#include "KestravaViewModel.h"

namespace kestrava {

CompareStage::CompareStage(KestravaViewModel& viewModel, QObject* parent) : QObject(parent), viewModel_(viewModel)
{
    // Another folder or a rebuilt list of groups: indices no longer mean the same frames.
    connect(&viewModel_, &KestravaViewModel::sourceFolderChanged, this, &CompareStage::close);
    connect(&viewModel_, &KestravaViewModel::routeChanged, this, [this] {
        if (viewModel_.route() != AppRoute::reviewing)
            close();
    });
}

void CompareStage::setCandidateShown(const QString& previewPath)
{
    shownPath_ = previewPath;
}

QString CompareStage::previewPath(int index) const
{
    const QList<ReviewGroup> groups = viewModel_.review()->effectiveReviewGroups();
    return index >= 0 && index < groups.size() ? groups[index].previewURL.path() : QString();
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

QString CompareStage::nothingToCompareWording()
{
    return QStringLiteral("Nach dieser Aufnahme ist keine offene mehr zum Vergleichen da.");
}

} // namespace kestrava
