#pragma once

// The limit on how many files are decoded at once, shared by preview rendering and metadata
// reads. Slots go to waiters by priority (larger is more urgent), then by arrival.
//
// The limit only ever goes down during the life of one limiter: once a file on a removable
// volume has asked for a single slot, all decoding in the process runs one at a time. A card
// reader that gets two interleaved streams reads both slowly, and it is not worth tracking
// per-volume limits for the rare session that mixes volumes.
//
// The picture on screen may take one slot beyond the limit while no other screen request holds
// one. A thumbnail or focus decode cannot stop half-way, so without it the picture the user
// looks at would wait for background work that happened to start first; one extra stream, only
// ever for the screen, costs less than that wait. Screen requests still take turns among
// themselves, so pressing on fast never runs a pile of decodes at once.

#include <QFuture>
#include <QPromise>

#include <condition_variable>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace kestrava {

class DecodeSlots {
public:
    // Requests at least this urgent are for the picture on screen.
    static constexpr int screenPriority = 100;
    // What a holder that never passes its priority counts as.
    static constexpr int backgroundPriority = std::numeric_limits<int>::min();

    struct Request {
        QFuture<bool> granted; // true: the slot is the requester's and must be released; false: withdrawn
        quint64 ticket = 0;
    };

    // Asks for a slot. Lowers the effective limit to `limit` first. The future finishes true at
    // once when a slot is free, otherwise when `release` hands one over, or false after `withdraw`.
    Request acquire(int priority, int limit);
    // Blocks the calling thread until granted (true) or until `isCanceled` answers true (false;
    // no slot held then). `isCanceled` is asked at least every few milliseconds.
    bool acquireBlocking(int priority, int limit, const std::function<bool()>& isCanceled);
    // Removes a waiter that has not been granted yet; its future finishes false. A ticket that
    // was already granted is left alone (the holder must release it).
    void withdraw(quint64 ticket);
    // Gives back a slot granted at `priority` and hands it to the most urgent waiter.
    void release(int priority = backgroundPriority);

    int activeCount() const;
    int waiterCount() const;
    std::optional<int> effectiveLimit() const;

private:
    struct Waiter {
        int priority = 0;
        quint64 sequence = 0;
        std::shared_ptr<QPromise<bool>> promise;
    };

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    int active_ = 0;
    int activeForScreen_ = 0; // of active_

    std::optional<int> limit_;
    quint64 sequence_ = 0;
    std::vector<Waiter> waiters_;

    bool hasRoomFor(int priority) const;
    void take(int priority);
};

// Releases a granted slot when it leaves scope, on every path.
class DecodeSlotGuard {
public:
    explicit DecodeSlotGuard(DecodeSlots& decodeSlots, int priority = DecodeSlots::backgroundPriority)
        : slots_(&decodeSlots), priority_(priority)
    {
    }
    ~DecodeSlotGuard() { if (slots_) slots_->release(priority_); }
    DecodeSlotGuard(const DecodeSlotGuard&) = delete;
    DecodeSlotGuard& operator=(const DecodeSlotGuard&) = delete;

private:
    DecodeSlots* slots_;
    int priority_;
};

} // namespace kestrava
