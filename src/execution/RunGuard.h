#pragma once

// What a run settles before its first file: no other run works on its source folders or its
// result folder, a move does not start from a write-protected card, and the result folder
// carries its marker. Everything it holds is released when the run ends, whatever the outcome.

#include "OperationLock.h"
#include "SortExecutionPlan.h"

#include "platform/FileOps.h"

#include <memory>
#include <vector>

namespace kestrava::ResumableSortExecutor {

class RunGuard {
public:
    // Locks every source folder (in the sessions folder, keyed by its real path), refuses a move
    // from a write-protected folder, locks and marks the result folder, in that order, so that a
    // refused run has touched nothing. Throws ResumableSortError (sourceFolderInUse,
    // sourceReadOnly, operationAlreadyRunning) or FileSystemError.
    RunGuard(const SortExecutionPlan& plan, FileOps& ops);
    void release();

private:
    std::vector<std::unique_ptr<OperationLock>> sourceLocks_;
    std::unique_ptr<OperationLock> resultLock_;
};

} // namespace kestrava::ResumableSortExecutor
