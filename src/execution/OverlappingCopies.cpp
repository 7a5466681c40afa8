// The copies that overlap: the first half on the run's thread, the second (flush, read-back,
// rename, folder flush) on a thread of its own, handed over in order by FinishingCopies.

#include "ActionRunner.h"

namespace kestrava::ResumableSortExecutor {

std::optional<UnfinishedCopy> ActionRunner::startCopying(const PlannedAction& action, ExecutionRecord& record)
{
    try {
        prepareFolder(action.destinationURL);
        validateSource(action.item, ops);
        removeAbandonedReservation(action);
        return startCopy(action.item, action.destinationURL, plan.options.verificationMode, ops, chunkProgress());
    } catch (const KestravaError& error) {
        fail(record, error);
        return std::nullopt;
    }
}

std::shared_future<ExecutionRecord> ActionRunner::finishInBackground(UnfinishedCopy copy, ExecutionRecord record,
                                                                     std::shared_future<ExecutionRecord> after)
{
    return std::async(std::launch::async, [this, copy = std::move(copy), record, after]() mutable {
        if (after.valid())
            after.wait();
        try {
            record.verifiedSize = finishCopy(std::move(copy), chunkProgress());
            record.status = ExecutionActionStatus::completed;
        } catch (const KestravaError& error) {
            fail(record, error);
        }
        return record;
    });
}

} // namespace kestrava::ResumableSortExecutor
