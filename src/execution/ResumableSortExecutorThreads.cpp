// The executor on a pool thread, for the view model: the run itself is executeSynchronously.

#include "ResumableSortExecutor.h"

#include <QPromise>
#include <QtConcurrent/QtConcurrent>

namespace kestrava::ResumableSortExecutor {

namespace {

QFuture<SortResult> runInBackground(const SortExecutionPlan& plan, bool includeDeletions, ProgressHandler progress,
                                    RecordHandler record, std::shared_ptr<const CancellationFlag> cancellation,
                                    FileOps& ops)
{
    FileOps* fileOps = &ops;
    return QtConcurrent::run([plan, includeDeletions, progress = std::move(progress), record = std::move(record),
                              cancellation = std::move(cancellation), fileOps](QPromise<SortResult>& promise) {
        ExecutionHandlers handlers;
        handlers.progress = progress;
        handlers.record = record;
        handlers.isCanceled = [&promise, cancellation] {
            return promise.isCanceled() || (cancellation && cancellation->isCanceled());
        };
        promise.addResult(executeSynchronously(plan, includeDeletions, handlers, *fileOps));
    });
}

} // namespace

QFuture<SortResult> execute(const SortExecutionPlan& plan, ProgressHandler progress, RecordHandler record,
                            std::shared_ptr<const CancellationFlag> cancellation, FileOps& ops)
{
    return runInBackground(plan, true, std::move(progress), std::move(record), std::move(cancellation), ops);
}

QFuture<SortResult> executeOrganizationPhase(const SortExecutionPlan& plan, ProgressHandler progress,
                                             RecordHandler record,
                                             std::shared_ptr<const CancellationFlag> cancellation, FileOps& ops)
{
    return runInBackground(plan, false, std::move(progress), std::move(record), std::move(cancellation), ops);
}

} // namespace kestrava::ResumableSortExecutor
