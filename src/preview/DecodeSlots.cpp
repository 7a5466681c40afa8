#include "DecodeSlots.h"

#include <algorithm>
#include <chrono>

namespace kestrava {

DecodeSlots::Request DecodeSlots::acquire(int priority, int limit)
{
    auto promise = std::make_shared<QPromise<bool>>();
    promise->start();
    Request request{promise->future(), 0};
    std::lock_guard lock(mutex_);
    limit_ = limit_ ? std::min(*limit_, limit) : limit;
    if (hasRoomFor(priority)) {
        take(priority);
        promise->addResult(true);
        promise->finish();
        return request;
    }
    request.ticket = ++sequence_;
    waiters_.push_back(Waiter{priority, request.ticket, std::move(promise)});
    return request;
}

bool DecodeSlots::acquireBlocking(int priority, int limit, const std::function<bool()>& isCanceled)
{
    const Request request = acquire(priority, limit);
    std::unique_lock lock(mutex_);
    for (;;) {
        if (request.granted.isFinished())
            return request.granted.result();
        if (isCanceled && isCanceled()) {
            lock.unlock();
            withdraw(request.ticket);
            // The slot may have been handed over between the check and the withdrawal.
            if (request.granted.result()) {
                release(priority);
            }
            return false;
        }
        changed_.wait_for(lock, std::chrono::milliseconds(10));
    }
}

void DecodeSlots::withdraw(quint64 ticket)
{
    std::shared_ptr<QPromise<bool>> promise;
    {
        std::lock_guard lock(mutex_);
        const auto it = std::find_if(waiters_.begin(), waiters_.end(), [&](const Waiter& w) { return w.sequence == ticket; });
        if (it == waiters_.end())
            return;
        promise = std::move(it->promise);
        waiters_.erase(it);
    }
    promise->addResult(false);
    promise->finish();
    changed_.notify_all();
}

void DecodeSlots::release(int priority)
{
    std::shared_ptr<QPromise<bool>> next;
    {
        std::lock_guard lock(mutex_);
        active_ = std::max(0, active_ - 1);
        if (priority >= screenPriority)
            activeForScreen_ = std::max(0, activeForScreen_ - 1);
        const auto best = std::min_element(waiters_.begin(), waiters_.end(), [](const Waiter& a, const Waiter& b) {
            return a.priority != b.priority ? a.priority > b.priority : a.sequence < b.sequence;
        });
        if (best != waiters_.end() && hasRoomFor(best->priority)) {
            take(best->priority);
            next = std::move(best->promise);
            waiters_.erase(best);
        }
    }
    // Finishing the promise runs continuations; never under the lock.
    if (next) {
        next->addResult(true);
        next->finish();
    }
    changed_.notify_all();
}

bool DecodeSlots::hasRoomFor(int priority) const
{
    const int limit = limit_.value_or(1);
    if (active_ < limit)
        return true;
    return priority >= screenPriority && activeForScreen_ == 0 && active_ < limit + 1;
}

void DecodeSlots::take(int priority)
{
    ++active_;
    if (priority >= screenPriority)
        ++activeForScreen_;
}

int DecodeSlots::activeCount() const
{
    std::lock_guard lock(mutex_);
    return active_;
}

int DecodeSlots::waiterCount() const
{
    std::lock_guard lock(mutex_);
    return int(waiters_.size());
}

std::optional<int> DecodeSlots::effectiveLimit() const
{
    std::lock_guard lock(mutex_);
    return limit_;
}

} // namespace kestrava
