#include "DecisionJournal.h"
#include "KestravaViewModel.h"
#include "platform/DeliveredLater.h"
#include "session/SessionStore.h"

namespace kestrava {

DecisionJournal::DecisionJournal(WorkflowCore& core, std::optional<SortSession>& session, KestravaViewModel& flow)
    : core_(core), session_(session), flow_(flow)
{
}

QFuture<qint64> DecisionJournal::append(SessionEventKind kind, const QList<FileUrl>& sourceURLs,
                                        std::optional<PhotoDecision> decision, std::optional<QString> category,
                                        int nextIndex)
{
    QStringList paths;
    paths.reserve(sourceURLs.size());
    for (const FileUrl& url : sourceURLs)
        paths.append(url.path());
    const QUuid id = session_->id;
    const quint64 generation = core_.generation();
    return deliveredLater(core_.services.sessionStore->append(kind, paths, decision, std::move(category), nextIndex,
                                                              session_->lastEventSequence, id),
                          &flow_)
        .then(&flow_, [this, id, generation, nextIndex](qint64 sequence) {
            if (generation != core_.generation() || !session_ || session_->id != id)
                return sequence;
            // The reviewed photos themselves are taken from the live state whenever a
            // snapshot is made, so nothing large is copied per decision.
            session_->lastEventSequence = std::max(session_->lastEventSequence, sequence);
            session_->currentIndex = nextIndex;
            const QDateTime stamp = core_.services.clock();
            session_->updatedAt = stamp;
            flow_.sessionStage()->setLastSavedAt(stamp);
            if (sequence % 100 == 0) {
                // The event is durable already; a failed snapshot only costs replay time.
                const int shownIndex = core_.run.currentIndex;
                core_.run.currentIndex = nextIndex;
                flow_.saveSessionSnapshot();
                core_.run.currentIndex = shownIndex;
            }
            return sequence;
        });
}

} // namespace kestrava
