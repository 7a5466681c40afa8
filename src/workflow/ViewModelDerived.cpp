// Values the screens derive from the workflow state, and their QML-friendly forms.

#include "KestravaViewModel.h"
#include "model/DestinationPlanner.h"
#include "model/Json.h"

namespace kestrava {

// ---- Derived -----------------------------------------------------------------------------

bool KestravaViewModel::canStartReview() const
{
    return sourceFolder_ && destinationBaseFolder_ && selectedReviewChoice_ && selectedOperationMode_
        && !DestinationPlanner::sanitize(runFolderName_).isEmpty();
}

QList<ReviewGroup> KestravaViewModel::effectiveReviewGroups() const
{
    if (!reviewGroups_.isEmpty() || photos_.isEmpty())
        return reviewGroups_;
    return ReviewGroup::build(photos_, selectedReviewChoice_);
}

int KestravaViewModel::reviewGroupCount() const
{
    // The stored groups are rebuilt with every change of the photo list, so they are empty
    // only when there is nothing to review.
    return int(reviewGroups_.isEmpty() && !photos_.isEmpty() ? effectiveReviewGroups().size() : reviewGroups_.size());
}

std::optional<ReviewGroup> KestravaViewModel::currentGroup() const
{
    if (currentIndex_ < 0)
        return std::nullopt;
    if (currentIndex_ < reviewGroups_.size())
        return reviewGroups_[currentIndex_];
    if (!reviewGroups_.isEmpty())
        return std::nullopt;
    const QList<ReviewGroup> groups = effectiveReviewGroups();
    return currentIndex_ < groups.size() ? std::optional(groups[currentIndex_]) : std::nullopt;
}

std::optional<PhotoDecision> KestravaViewModel::decision(const ReviewGroup& group) const
{
    return index_.decision(group, photos_);
}

QString KestravaViewModel::decisionNameForGroup(const QString& groupID) const
{
    const qsizetype i = index_.groupIndex(groupID);
    if (i < 0 || i >= reviewGroups_.size())
        return {};
    const auto value = decision(reviewGroups_[i]);
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
        const qsizetype i = index_.photoIndex(member);
        if (i >= 0 && i < photos_.size())
            return photos_[i];
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
            if (const qsizetype i = index_.photoIndex(member); i >= 0)
                bytes += photos_[i].fileSize;
        map.insert(QStringLiteral("totalBytes"), bytes);
        map.insert(QStringLiteral("captureDate"), item->captureDate);
    }
    return map;
}

QVariantMap KestravaViewModel::decisionCountsMap() const
{
    QVariantMap map;
    for (PhotoDecision d : allCases<PhotoDecision>())
        map.insert(rawValue(d), tally_.count(d));
    return map;
}

QVariantMap KestravaViewModel::decisionFeedbackMap() const
{
    if (!decisionFeedback_)
        return {};
    return {{QStringLiteral("id"), json::encodeUuid(decisionFeedback_->id)},
            {QStringLiteral("decision"), rawValue(decisionFeedback_->decision)},
            {QStringLiteral("scopeTitle"), decisionFeedback_->scopeTitle},
            {QStringLiteral("fileCount"), decisionFeedback_->fileCount},
            {QStringLiteral("title"), decisionFeedback_->title()}};
}

QString KestravaViewModel::reviewAuditRequestIDText() const
{
    return reviewAuditRequestID_ ? json::encodeUuid(*reviewAuditRequestID_) : QString();
}

QString KestravaViewModel::resumableSessionDescription() const
{
    if (!resumableSession_)
        return {};
    int decided = 0;
    for (const PhotoItem& item : resumableSession_->photos)
        decided += item.decision ? 1 : 0;
    return QString::number(decided) + QStringLiteral(" Dateien entschieden · ") + resumableSession_->sourceFolder.fileName();
}

QString KestravaViewModel::savedStatusText() const
{
    if (!lastSavedAt_)
        return QStringLiteral("Wird automatisch gesichert");
    return QStringLiteral("Gespeichert · ") + lastSavedAt_->toLocalTime().toString(QStringLiteral("HH:mm"));
}

} // namespace kestrava
