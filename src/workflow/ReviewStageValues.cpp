// The review's state as the flow sets it, the values the screens derive from it, and their
// QML forms.

#include "ReviewStage.h"
#include "WindowWording.h"
#include "model/Json.h"

namespace kestrava {

// ---- State -------------------------------------------------------------------------------

void ReviewStage::setFlag(bool& field, bool value, void (ReviewStage::*signal)())
{
    if (field == value)
        return;
    field = value;
    emit(this->*signal)();
}

void ReviewStage::setCurrentIndex(int index)
{
    if (run().currentIndex == index)
        return;
    run().currentIndex = index;
    emit currentIndexChanged();
    emit reviewStateChanged();
}

void ReviewStage::withdrawPreview()
{
    run().previewReadyURL.clear();
    setFlag(run().isPreviewReady, false, &ReviewStage::isPreviewReadyChanged);
}

void ReviewStage::setPendingDecisionGroupID(const QString& groupID)
{
    std::optional<QString> value = groupID.isEmpty() ? std::nullopt : std::optional(groupID);
    if (run().pendingDecisionGroupID == value)
        return;
    run().pendingDecisionGroupID = std::move(value);
    emit pendingDecisionGroupIDChanged();
}

bool ReviewStage::acceptsReviewShortcuts() const
{
    return core_.route() == AppRoute::reviewing && !run().isReviewAuditPresented;
}

void ReviewStage::rebuildGroups()
{
    run().reviewGroups = ReviewGroup::build(run().photos, run().selectedReviewChoice);
    run().index.rebuild(run().photos, run().reviewGroups);
    emit reviewStateChanged();
}

void ReviewStage::startOver()
{
    run().currentIndex = 0;
    emit currentIndexChanged();
    run().history.clear();
    withdrawPreview();
    rebuildGroups();
    recalculateCounts();
}

// ---- Derived -----------------------------------------------------------------------------

QList<ReviewGroup> ReviewStage::effectiveReviewGroups() const
{
    if (!run().reviewGroups.isEmpty() || run().photos.isEmpty())
        return run().reviewGroups;
    return ReviewGroup::build(run().photos, run().selectedReviewChoice);
}

int ReviewStage::reviewGroupCount() const
{
    // The stored groups are rebuilt with every change of the photo list, so they are empty
    // only when there is nothing to review.
    return int(run().reviewGroups.isEmpty() && !run().photos.isEmpty() ? effectiveReviewGroups().size() : run().reviewGroups.size());
}

std::optional<ReviewGroup> ReviewStage::currentGroup() const
{
    if (run().currentIndex < 0)
        return std::nullopt;
    if (run().currentIndex < run().reviewGroups.size())
        return run().reviewGroups[run().currentIndex];
    if (!run().reviewGroups.isEmpty())
        return std::nullopt;
    const QList<ReviewGroup> groups = effectiveReviewGroups();
    return run().currentIndex < groups.size() ? std::optional(groups[run().currentIndex]) : std::nullopt;
}

std::optional<PhotoDecision> ReviewStage::decision(const ReviewGroup& group) const
{
    return run().index.decision(group, run().photos);
}

QList<std::optional<PhotoDecision>> ReviewStage::decisionTimeline() const
{
    QList<std::optional<PhotoDecision>> timeline;
    const QList<ReviewGroup> groups = effectiveReviewGroups();
    timeline.reserve(groups.size());
    for (const ReviewGroup& group : groups)
        timeline.append(decision(group));
    return timeline;
}

std::optional<PhotoItem> ReviewStage::photo(const ReviewGroup& group) const
{
    for (const FileUrl& member : group.memberURLs) {
        const qsizetype i = run().index.photoIndex(member);
        if (i >= 0 && i < run().photos.size())
            return run().photos[i];
    }
    return std::nullopt;
}

QStringList ReviewStage::previewCandidates() const
{
    const auto group = currentGroup();
    if (!group)
        return {};
    QStringList candidates{group->previewURL.path()};
    for (const FileUrl& member : group->memberURLs)
        if (member != group->previewURL)
            candidates.append(member.path());
    return candidates;
}

CurrentGroup ReviewStage::currentGroupValue() const
{
    const auto group = currentGroup();
    if (!group)
        return {};
    CurrentGroup value;
    value.id = group->id;
    value.fileName = group->previewURL.fileName();
    value.previewPath = group->previewURL.path();
    if (const auto decided = decision(*group)) {
        value.decision = int(*decided);
        value.decisionLabel = decisionLabel(*decided);
    }
    value.detailText = detailText(*group);
    return value;
}

QString ReviewStage::detailText(const ReviewGroup& group) const
{
    std::optional<qint64> bytes;
    if (photo(group)) {
        bytes = 0;
        for (const FileUrl& member : group.memberURLs)
            if (const qsizetype i = run().index.photoIndex(member); i >= 0)
                *bytes += run().photos[i].fileSize;
    }
    return WindowWording::groupDetailText(group.previewURL.parent().path(), bytes, group.memberURLs.size());
}

QString ReviewStage::positionText() const
{
    return WindowWording::positionText(currentIndex(), reviewGroupCount());
}

QList<int> ReviewStage::decisionCountList() const
{
    QList<int> counts;
    for (PhotoDecision d : allCases<PhotoDecision>())
        counts.append(run().tally.count(d));
    return counts;
}

QStringList ReviewStage::decisionLabels()
{
    QStringList labels;
    for (PhotoDecision d : allCases<PhotoDecision>())
        labels.append(decisionLabel(d));
    return labels;
}

QStringList ReviewStage::selectedDecisionLabels()
{
    QStringList labels;
    for (PhotoDecision d : allCases<PhotoDecision>())
        labels.append(WindowWording::decisionAccessibleLabel(d, true));
    return labels;
}

FeedbackValue ReviewStage::decisionFeedbackValue() const
{
    const auto& feedback = run().decisionFeedback;
    if (!feedback)
        return {};
    return {.id = json::encodeUuid(feedback->id), .decision = int(feedback->decision), .title = feedback->title()};
}

} // namespace kestrava
