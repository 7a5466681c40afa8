#pragma once

// Carries out an execution plan: copies or moves every planned file into the result folder,
// proves each copy before it counts, reports every outcome as an ExecutionRecord, and can be
// stopped at any moment and started again without redoing or damaging finished work. It never
// overwrites a file.
//
// Driving it from a view model:
//   auto cancel = std::make_shared<CancellationFlag>();
//   QFuture<SortResult> run = ResumableSortExecutor::execute(plan, onProgress, onRecord, cancel);
//   … cancel->cancel();   // the run starts no further file and still delivers its SortResult
// `onRecord` runs on the worker thread, synchronously, in plan order: journal
// the record there (blocking) and throw if that fails, which stops the run; the future then
// carries the exception. It may skip journaling a record equal to the one already stored
// (files validated on resume are reported again unchanged). `onProgress` runs on a worker
// thread (the run's, or one finishing an earlier copy), never two at once, at most ten
// times a second, and must hop to the main thread itself.
//
// While a few copies are flushed, read back and renamed on threads of their own, the next
// file is already being written to its hidden temporary (see FinishingCopies.h). Records still
// arrive in plan order, and each only once its file is proven and its name durable; a later
// file of that window may stand under its name before an earlier record is handed over.
// Cancelled, the run starts no further file and reports the few still finishing as they end.

#include "ProgressThrottle.h"
#include "SortExecutionPlan.h"
#include "SortProgress.h"
#include "TransactionalCopy.h"

#include "platform/FileOps.h"

#include <QFuture>

#include <atomic>
#include <functional>
#include <memory>

namespace kestrava {

// Cooperative cancellation that, unlike QFuture::cancel, keeps the future's result.
class CancellationFlag {
public:
    void cancel() { canceled_.store(true); }
    bool isCanceled() const { return canceled_.load(); }

private:
    std::atomic<bool> canceled_{false};
};

namespace ResumableSortExecutor {

using ProgressHandler = std::function<void(const SortProgress&)>;
using RecordHandler = std::function<void(const ExecutionRecord&)>;

// "Die Sortierung wurde abgebrochen und kann später fortgesetzt werden."
QString cancellationMessage();

struct ExecutionHandlers {
    ProgressHandler progress;
    RecordHandler record;
    std::function<bool()> isCanceled;
};

// Runs the plan on the calling thread. Before anything is touched it locks every source folder
// (in the sessions folder) and the result folder, and puts the run-folder marker into the
// result folder. Throws, with nothing touched, ResumableSortError::sourceFolderInUse or
// operationAlreadyRunning while another run holds a folder, sourceReadOnly for a move from a
// write-protected folder, FileSystemError when a folder or lock cannot be made; and whatever
// `record` throws. Per-file faults fail only that file, except a full destination, which stops
// the run there (that file and the rest stay pending, the message said once). A move whose
// verified copy is in place but whose original cannot be removed is reported pending with
// its verified size: the next run only removes the original. The locks are released on every
// path. With `includeDeletions`, the plan's deletions count as retained (this executor never
// trashes; the trash transaction does). The writeRating actions run after all others, each
// only when the files it belongs with completed in this run (else it stays pending); records
// arrive in that order.
SortResult executeSynchronously(const SortExecutionPlan& plan, bool includeDeletions, const ExecutionHandlers& handlers,
                                FileOps& ops = FileOps::system());

// executeSynchronously on a pool thread. Cancel through `cancellation` to keep the result;
// QFuture::cancel also stops the run but Qt then drops the result (the records were reported).
QFuture<SortResult> execute(const SortExecutionPlan& plan, ProgressHandler progress, RecordHandler record,
                            std::shared_ptr<const CancellationFlag> cancellation = {},
                            FileOps& ops = FileOps::system());

// The same without the deletions: the organising step before a trash transaction.
QFuture<SortResult> executeOrganizationPhase(const SortExecutionPlan& plan, ProgressHandler progress,
                                             RecordHandler record,
                                             std::shared_ptr<const CancellationFlag> cancellation = {},
                                             FileOps& ops = FileOps::system());

} // namespace ResumableSortExecutor

} // namespace kestrava
