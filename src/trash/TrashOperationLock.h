#pragma once

// The machine-wide lock of destructive trash work: <journal base>/active-trash.lock, created
// exclusively without following links, mode 0600, holding the owner's decimal process id.
// A lock whose process no longer exists (kill(pid, 0) answers ESRCH) is taken over; a live
// owner, an unreadable id or any other answer blocks.

#include "platform/FileOps.h"

#include <QString>

namespace kestrava {

class TrashOperationLock {
public:
    static constexpr const char* fileName = "active-trash.lock";

    // Takes the lock or throws TrashTransactionError transactionAlreadyRunning;
    // journalUnavailable with the system's reason when the journal base, or the lock in it,
    // cannot be created, written or read.
    explicit TrashOperationLock(const QString& baseDirectory, FileOps& ops = FileOps::system());
    ~TrashOperationLock();
    TrashOperationLock(const TrashOperationLock&) = delete;
    TrashOperationLock& operator=(const TrashOperationLock&) = delete;

    // Removes the lock file once; errors are ignored.
    void release();
    const QString& path() const { return path_; }

private:
    bool tryCreate();

    QString path_;
    FileOps& ops_;
    bool released_ = false;
};

} // namespace kestrava
