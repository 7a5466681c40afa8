#pragma once

// Sessions and clocks for the session tests and benchmarks.

#include "session/SessionStore.h"

#include <QDateTime>
#include <atomic>

namespace kestrava::test {

inline QDateTime at(int hour, int minute = 0, int second = 0)
{
    return QDateTime(QDate(2026, 3, 1), QTime(hour, minute, second), Qt::UTC);
}

// A session of `photoCount` photos below /Fotos/Reise, none decided.
SortSession makeSession(int photoCount, const QUuid& id = QUuid::createUuid());

// Every field set to something other than its default, for round trips.
SortSession makeFullSession();

// A clock that starts at `start` and advances one second per reading.
class SteppingClock {
public:
    explicit SteppingClock(QDateTime start = at(9)) : start_(std::move(start)) {}
    SessionStore::Clock function()
    {
        return [this] { return start_.addSecs(ticks_.fetch_add(1)); };
    }

private:
    QDateTime start_;
    std::atomic<int> ticks_{0};
};

// Blocks until the store's future finishes; rethrows its error.
template <class T>
T await(QFuture<T> future)
{
    if constexpr (std::is_void_v<T>)
        future.waitForFinished();
    else
        return future.result();
}

// Logs a decision on one photo of `session` and returns the event's number once it is durable.
// `after` is the number the caller last saw, `index` the photo shown.
inline qint64 decide(SessionStore& store, const SortSession& session, int photo, std::optional<PhotoDecision> decision,
                     qint64 after = 0, int index = 0)
{
    return await(store.append(SessionEventKind::decision, {session.photos[photo].sourceURL.path()}, decision, std::nullopt,
                              index, after, session.id));
}

} // namespace kestrava::test
