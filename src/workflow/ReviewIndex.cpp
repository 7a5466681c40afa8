#include "ReviewIndex.h"

namespace kestrava {

void ReviewIndex::rebuild(const QList<PhotoItem>& photos, const QList<ReviewGroup>& groups)
{
    photoByPath_.clear();
    groupByID_.clear();
    photoByPath_.reserve(photos.size());
    groupByID_.reserve(groups.size());
    for (qsizetype i = 0; i < photos.size(); ++i)
        photoByPath_.insert(photos[i].sourceURL.path(), i);
    for (qsizetype i = 0; i < groups.size(); ++i)
        groupByID_.insert(groups[i].id, i);
}

void ReviewIndex::clear()
{
    photoByPath_.clear();
    groupByID_.clear();
}

std::optional<PhotoDecision> ReviewIndex::decision(const ReviewGroup& group, const QList<PhotoItem>& photos) const
{
    for (const FileUrl& member : group.memberURLs) {
        const qsizetype i = photoIndex(member);
        if (i >= 0 && i < photos.size())
            return photos[i].decision;
    }
    return std::nullopt;
}

void DecisionTally::recalculate(const QList<ReviewGroup>& groups, const QList<PhotoItem>& photos,
                                const ReviewIndex& index)
{
    counts_ = {};
    for (const ReviewGroup& group : groups)
        if (const auto decision = index.decision(group, photos))
            ++counts_[std::size_t(*decision)];
}

void DecisionTally::replace(std::optional<PhotoDecision> before, std::optional<PhotoDecision> after)
{
    if (before)
        --counts_[std::size_t(*before)];
    if (after)
        ++counts_[std::size_t(*after)];
}

} // namespace kestrava
