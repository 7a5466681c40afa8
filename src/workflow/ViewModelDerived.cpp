// Values the screens derive from the workflow state, and their QML-friendly forms.

#include "KestravaViewModel.h"
#include "model/DestinationPlanner.h"
#include "model/Json.h"

namespace kestrava {

// ---- Derived -----------------------------------------------------------------------------

bool KestravaViewModel::canStartReview() const
{
    return sourceFolder_ && destinationBaseFolder_ && run_.selectedReviewChoice && run_.selectedOperationMode
        && !DestinationPlanner::sanitize(runFolderName_).isEmpty();
}

QList<ReviewGroup> KestravaViewModel::effectiveReviewGroups() const
{
    if (!run_.reviewGroups.isEmpty() || run_.photos.isEmpty())
        return run_.reviewGroups;
    return ReviewGroup::build(run_.photos, run_.selectedReviewChoice);
}

int KestravaViewModel::reviewGroupCount() const
{
    // The stored groups are rebuilt with every change of the photo list, so they are empty
    // only when there is nothing to review.
    return int(run_.reviewGroups.isEmpty() && !run_.photos.isEmpty() ? effectiveReviewGroups().size() : run_.reviewGroups.size());
}

std::optional<ReviewGroup> KestravaViewModel::currentGroup() const
{
    if (run_.currentIndex < 0)
        return std::nullopt;
    if (run_.currentIndex < run_.reviewGroups.size())
        return run_.reviewGroups[run_.currentIndex];
    if (!run_.reviewGroups.isEmpty())
        return std::nullopt;
    const QList<ReviewGroup> groups = effectiveReviewGroups();
    return run_.currentIndex < groups.size() ? std::optional(groups[run_.currentIndex]) : std::nullopt;
}

std::optional<PhotoDecision> KestravaViewModel::decision(const ReviewGroup& group) const
{
    return run_.index.decision(group, run_.photos);
}

QString KestravaViewModel::decisionNameForGroup(const QString& groupID) const
{
    const qsizetype i = run_.index.groupIndex(groupID);
    if (i < 0 || i >= run_.reviewGroups.size())
        return {};
    const auto value = decision(run_.reviewGroups[i]);
    return value ? rawValue(*value) : QString();
}

QList<std::optional<PhotoDecision>> KestravaViewModel::decisionTimeline() const
{
    QList<std::optional<PhotoDecision>> timeline;
    const QList<ReviewGroup> groups = effectiveReviewGroups();
    timeline.reserve(groups.size());
    for (const ReviewGroup& group : groups)
        timeline.append(decision(group));
    return timeline;
}

QStringList KestravaViewModel::decisionTimelineNames() const
{
    QStringList names;
    for (const auto& value : decisionTimeline())
        names.append(value ? rawValue(*value) : QString());
    return names;
}

std::optional<PhotoItem> KestravaViewModel::photo(const ReviewGroup& group) const
{
    for (const FileUrl& member : group.memberURLs) {
        const qsizetype i = run_.index.photoIndex(member);
        if (i >= 0 && i < run_.photos.size())
            return run_.photos[i];
    }
    return std::nullopt;
}

QStringList KestravaViewModel::previewCandidates() const
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

QVariantMap KestravaViewModel::currentGroupMap() const
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
            if (const qsizetype i = run_.index.photoIndex(member); i >= 0)
                bytes += run_.photos[i].fileSize;
        map.insert(QStringLiteral("totalBytes"), bytes);
        map.insert(QStringLiteral("captureDate"), item->captureDate);
    }
    return map;
}

QVariantMap KestravaViewModel::decisionCountsMap() const
{
    QVariantMap map;
    for (PhotoDecision d : allCases<PhotoDecision>())
        map.insert(rawValue(d), run_.tally.count(d));
    return map;
}

QVariantMap KestravaViewModel::decisionFeedbackMap() const
{
    if (!run_.decisionFeedback)
        return {};
    return {{QStringLiteral("id"), json::encodeUuid(run_.decisionFeedback->id)},
            {QStringLiteral("decision"), rawValue(run_.decisionFeedback->decision)},
            {QStringLiteral("scopeTitle"), run_.decisionFeedback->scopeTitle},
            {QStringLiteral("fileCount"), run_.decisionFeedback->fileCount},
            {QStringLiteral("title"), run_.decisionFeedback->title()}};
}

} // namespace kestrava
