#pragma once

// Lookup tables over the reviewed photos and their review groups. Rebuilt once whenever
// either list is replaced, so that a decision touches only its own group's members instead of
// scanning every photo.

#include "model/PhotoModel.h"

#include <QHash>
#include <array>

namespace kestrava {

class ReviewIndex {
public:
    void rebuild(const QList<PhotoItem>& photos, const QList<ReviewGroup>& groups);
    void clear();

    // Position of the photo in the list the index was built from, or -1.
    qsizetype photoIndex(const FileUrl& url) const { return photoByPath_.value(url.path(), -1); }
    // Position of the group with this id, or -1.
    qsizetype groupIndex(const QString& groupID) const { return groupByID_.value(groupID, -1); }

    // The decision of the group's first member that is among the photos; nullopt when that
    // member is undecided or no member is known.
    std::optional<PhotoDecision> decision(const ReviewGroup& group, const QList<PhotoItem>& photos) const;

private:
    QHash<QString, qsizetype> photoByPath_;
    QHash<QString, qsizetype> groupByID_;
};

// Groups per decision. Counts are per group, not per file: a pair counts once.
class DecisionTally {
public:
    void recalculate(const QList<ReviewGroup>& groups, const QList<PhotoItem>& photos, const ReviewIndex& index);
    void reset() { counts_ = {}; }
    // One group's decision went from `before` to `after`.
    void replace(std::optional<PhotoDecision> before, std::optional<PhotoDecision> after);

    int count(PhotoDecision decision) const { return counts_[std::size_t(decision)]; }
    // Groups that have any decision.
    int classified() const { return counts_[0] + counts_[1] + counts_[2]; }

    friend bool operator==(const DecisionTally&, const DecisionTally&) = default;

private:
    std::array<int, 3> counts_{};
};

// One step of the undo stack: the group decided and each member's decision before the change,
// in member order (nullopt where the file was undecided).
struct HistoryEntry {
    QString groupID;
    QList<std::pair<FileUrl, std::optional<PhotoDecision>>> previous;
    // Non-zero for the entries of one action over several groups (a whole series): one undo
    // takes all consecutive entries of the same batch back.
    quint64 batch = 0;

    friend bool operator==(const HistoryEntry&, const HistoryEntry&) = default;
};

} // namespace kestrava
