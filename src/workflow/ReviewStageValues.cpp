// The review's state as the flow sets it, the values the screens derive from it, and their
// QML forms.

#include "ReviewStage.h"
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

QString ReviewStage::decisionNameForGroup(const QString& groupID) const
{
    const qsizetype i = run().index.groupIndex(groupID);
    if (i < 0 || i >= run().reviewGroups.size())
        return {};
    const auto value = decision(run().reviewGroups[i]);
    return value ? rawValue(*value) : QString();
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

QStringList ReviewStage::decisionTimelineNames() const
{
    QStringList names;
    for (const auto& value : decisionTimeline())
        names.append(value ? rawValue(*value) : QString());
    return names;
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

QVariantMap ReviewStage::currentGroupMap() const
{
    const auto group = currentGroup();
    if (!group)
        return {};
    QStringList members;
    for (const FileUrl& member : group->memberURLs)
        members.append(member.path());
    QVariantMap map{{QStringLiteral("id"), group->id},
                    {QStringLiteral("memberPaths"), members},
                    {QStringLiteral("previewPath"), group->previewURL.path()},
                    {QStringLiteral("fileName"), group->previewURL.fileName()},
                    {QStringLiteral("folder"), group->previewURL.parent().path()}};
    const auto value = decision(*group);
    map.insert(QStringLiteral("decision"), value ? rawValue(*value) : QString());
    if (const auto item = photo(*group)) {
        qint64 bytes = 0;
        for (const FileUrl& member : group->memberURLs)
            if (const qsizetype i = run().index.photoIndex(member); i >= 0)
                bytes += run().photos[i].fileSize;
        map.insert(QStringLiteral("totalBytes"), bytes);
        map.insert(QStringLiteral("captureDate"), item->captureDate);
    }
    return map;
}

QVariantMap ReviewStage::decisionCountsMap() const
{
    QVariantMap map;
    for (PhotoDecision d : allCases<PhotoDecision>())
        map.insert(rawValue(d), run().tally.count(d));
    return map;
}

QVariantMap ReviewStage::decisionFeedbackMap() const
{
    if (!run().decisionFeedback)
        return {};
    return {{QStringLiteral("id"), json::encodeUuid(run().decisionFeedback->id)},
            {QStringLiteral("decision"), rawValue(run().decisionFeedback->decision)},
            {QStringLiteral("scopeTitle"), run().decisionFeedback->scopeTitle},
            {QStringLiteral("fileCount"), run().decisionFeedback->fileCount},
            {QStringLiteral("title"), run().decisionFeedback->title()}};
}

} // namespace kestrava
