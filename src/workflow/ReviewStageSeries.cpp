// Decisions over several groups at once (a whole series): each decision journaled like any
// other, the whole action one step of the history.

#include "WindowWording.h"
#include "KestravaViewModel.h"
#include "ReviewStage.h"

#include <algorithm>

namespace kestrava {

namespace {

using Values = QList<std::pair<FileUrl, std::optional<PhotoDecision>>>;

bool undecided(const RunState& run, const ReviewGroup& group)
{
    for (const FileUrl& url : group.memberURLs) {
        const qsizetype i = run.index.photoIndex(url);
        if (i >= 0 && run.photos[i].decision)
            return false;
    }
    return true;
}

} // namespace

bool ReviewStage::decideGroups(std::optional<qsizetype> keep, const QList<qsizetype>& reject, int nextIndex)
{
    if (run().isApplying || run().isCommittingDecision)
        return false;
    const qsizetype count = run().reviewGroups.size();
    // Only open groups: what the user already decided stays as they decided it.
    QList<std::pair<qsizetype, PhotoDecision>> decisions;
    if (keep && *keep >= 0 && *keep < count && undecided(run(), run().reviewGroups[*keep]))
        decisions.append({*keep, PhotoDecision::keep});
    for (qsizetype index : reject)
        if (index >= 0 && index < count && index != keep && undecided(run(), run().reviewGroups[index]))
            decisions.append({index, PhotoDecision::del});
    if (decisions.isEmpty())
        return false;

    const bool closesReview = undecidedGroupCount() == decisions.size();
    const quint64 batch = ++lastBatch_;
    QList<FileUrl> kept;
    QList<FileUrl> rejected;
    QList<qsizetype> keptGroups;
    QList<qsizetype> rejectedGroups;
    for (const auto& [index, decision] : decisions) {
        const ReviewGroup& group = run().reviewGroups[index];
        HistoryEntry entry{group.id, {}, batch};
        for (const FileUrl& url : group.memberURLs)
            entry.previous.append({url, std::nullopt});
        run().history.append(entry);
        Values values;
        for (const FileUrl& url : group.memberURLs)
            values.append({url, decision});
        applyDecisionToGroup(index, values);
        (decision == PhotoDecision::keep ? kept : rejected) << group.memberURLs;
        (decision == PhotoDecision::keep ? keptGroups : rejectedGroups) << index;
    }
    emit decisionCountsChanged();
    emit reviewStateChanged();

    const int previousIndex = run().currentIndex;
    nextIndex = int(std::clamp<qsizetype>(nextIndex, 0, count - 1));
    if (!journal_.isOpen()) {
        finishDecisionCommit(nextIndex, previousIndex, closesReview);
        return true;
    }
    setCommitting(true);
    const quint64 generation = core_.generation();
    // Back to open for the files whose write failed; the history keeps its entries, as undo of
    // an open group restores it open.
    auto rollback = [this, generation](const QList<qsizetype>& groups, const QString& reason) {
        if (generation != core_.generation())
            return;
        for (qsizetype group : groups) {
            Values open;
            for (const FileUrl& url : run().reviewGroups[group].memberURLs)
                open.append({url, std::nullopt});
            applyDecisionToGroup(group, open);
        }
        recalculateCounts();
        setCommitting(false);
        core_.raiseAlert(QStringLiteral("Die Entscheidungen der Serie konnten nicht sicher gespeichert werden: ") + reason);
    };
    auto finish = [this, generation, nextIndex, previousIndex, closesReview](qint64) {
        if (generation != core_.generation())
            return;
        finishDecisionCommit(nextIndex, previousIndex, closesReview);
        emit decisionCommitted(QString());
    };
    auto writeRejected = [this, rejected, rejectedGroups, nextIndex, finish, rollback] {
        if (rejected.isEmpty()) {
            finish(0);
            return;
        }
        journal_.append(SessionEventKind::decision, rejected, PhotoDecision::del, std::nullopt, nextIndex)
            .then(this, finish)
            .onFailed(this, [rollback, rejectedGroups](const QException& error) { rollback(rejectedGroups, failureText(error)); })
            .onFailed(this, [rollback, rejectedGroups] { rollback(rejectedGroups, unknownFailureText()); });
    };
    if (kept.isEmpty()) {
        writeRejected();
        return true;
    }
    // The kept frame first: should the second write fail, the frame worth keeping is safe.
    const QList<qsizetype> all = keptGroups + rejectedGroups;
    journal_.append(SessionEventKind::decision, kept, PhotoDecision::keep, std::nullopt, nextIndex)
        .then(this, [writeRejected](qint64) { writeRejected(); })
        .onFailed(this, [rollback, all](const QException& error) { rollback(all, failureText(error)); })
        .onFailed(this, [rollback, all] { rollback(all, unknownFailureText()); });
    return true;
}

void ReviewStage::undoBatch()
{
    const quint64 batch = run().history.last().batch;
    QList<HistoryEntry> entries;
    while (!run().history.isEmpty() && run().history.last().batch == batch)
        entries.prepend(run().history.takeLast());

    QList<FileUrl> urls;
    QList<std::pair<qsizetype, Values>> undone;
    for (const HistoryEntry& entry : std::as_const(entries)) {
        const qsizetype group = run().index.groupIndex(entry.groupID);
        if (group < 0)
            continue;
        Values before;
        for (const auto& [url, previous] : entry.previous) {
            const qsizetype i = run().index.photoIndex(url);
            before.append({url, i >= 0 ? run().photos[i].decision : std::nullopt});
            urls.append(url);
        }
        undone.append({group, before});
        applyDecisionToGroup(group, entry.previous);
    }
    recalculateCounts();
    if (!entries.isEmpty())
        setCurrentIndex(int(qMax<qsizetype>(0, run().index.groupIndex(entries.first().groupID))));
    withdrawPreview();
    if (!journal_.isOpen() || urls.isEmpty()) {
        emit decisionCommitted(QString());
        return;
    }
    // A batch only ever decides open groups, so what it restores is open throughout: one
    // event says so for all of them.
    setCommitting(true);
    const quint64 generation = core_.generation();
    auto rollback = [this, generation, undone](const QString& reason) {
        if (generation != core_.generation())
            return;
        for (const auto& [group, values] : undone)
            applyDecisionToGroup(group, values);
        recalculateCounts();
        setCommitting(false);
        core_.raiseAlert(reason);
    };
    journal_.append(SessionEventKind::decision, urls, std::nullopt, std::nullopt, run().currentIndex)
        .then(this,
              [this, generation](qint64) {
                  if (generation != core_.generation())
                      return;
                  setCommitting(false);
                  emit decisionCommitted(QString());
              })
        .onFailed(this, [rollback](const QException& error) { rollback(failureText(error)); })
        .onFailed(this, [rollback] { rollback(unknownFailureText()); });
}

} // namespace kestrava
