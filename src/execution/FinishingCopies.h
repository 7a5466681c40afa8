#pragma once

// The copies whose second half (flush, read-back, rename) runs on threads of their own while
// the run goes on with the next file. Several at once, because a flush waits mostly for the
// file system's journal commit, and flushes issued together share one commit: one after the
// other, each file paid a commit of its own, which made many-file runs wait on the disk's
// latency rather than its throughput. Bounded, so that memory and open files stay flat.
//
// Their outcomes are handed over in the order the copies were added, whichever finishes first,
// and each only once its copy is proven and its name durable: a record never runs ahead of its
// file. A later file of the window may already stand under its name when an earlier record is
// handed over; a run cut off there leaves it with its pending record, and the next run proves
// it equal to its source and keeps it, as for a file renamed just before a kill.

#include "model/PhotoModel.h"

#include <deque>
#include <functional>
#include <future>

namespace kestrava::ResumableSortExecutor {

class FinishingCopies {
public:
    // At most this many files between their first half and their record.
    static constexpr size_t capacity = 4;

    explicit FinishingCopies(std::function<void(const ExecutionRecord&)> deliver) : deliver_(std::move(deliver)) {}
    // Waits for copies still finishing without handing over their outcomes (the run is
    // unwinding from an exception); each thread ends with its temporary file removed or renamed.
    ~FinishingCopies() = default;

    void add(std::shared_future<ExecutionRecord> copy) { running_.push_back(std::move(copy)); }
    // The copy added last while it is still finishing, to wait for before anything of a copy
    // that must come after it (a sidecar after its photo) becomes visible.
    std::shared_future<ExecutionRecord> newest() const
    {
        return running_.empty() ? std::shared_future<ExecutionRecord>() : running_.back();
    }
    // Hands over the oldest outcomes until there is room for one more copy.
    void makeRoom()
    {
        while (running_.size() >= capacity)
            handOverOldest();
    }
    // Hands over every outcome, in order.
    void settle()
    {
        while (!running_.empty())
            handOverOldest();
    }

private:
    void handOverOldest()
    {
        const std::shared_future<ExecutionRecord> oldest = std::move(running_.front());
        running_.pop_front();
        deliver_(oldest.get());
    }

    std::function<void(const ExecutionRecord&)> deliver_;
    std::deque<std::shared_future<ExecutionRecord>> running_;
};

} // namespace kestrava::ResumableSortExecutor
