#pragma once

// Keeps two runs (other processes, other windows of this one) out of one result folder.
//
// Lock file: <destination root>/.kestrava.lock, mode 0600, appearing exclusively (written under
// a private name first, then renamed without replacing); its content is the owner's process id
// as decimal text. A lock whose content cannot be read or parsed counts as held (deliberately:
// Kestrava never writes one, so someone else did). A lock is taken over only when the process
// probe says its owner no longer exists.

#include "ResumableSortError.h"

#include "platform/FileOps.h"

#include "model/FileUrl.h"

#include <QtGlobal>

#include <memory>

namespace kestrava {

class OperationLock {
public:
    // Creates the destination root (with parents) and takes the lock. Throws
    // ResumableSortError::operationAlreadyRunning while another live run holds it, and
    // FileSystemError when the folder or the lock file cannot be made or a stale lock removed.
    explicit OperationLock(const FileUrl& destinationRoot, FileOps& ops = FileOps::system());
    // The lock of a source folder: it lives in `lockFolder` (the sessions folder, which can
    // always be written, unlike a write-protected card), named after a digest of the source's
    // real path, so two spellings of one folder meet at one lock. Throws
    // ResumableSortError::sourceFolderInUse naming the folder while another live run holds it.
    static std::unique_ptr<OperationLock> forSource(const QString& sourceFolder, const QString& lockFolder,
                                                    FileOps& ops = FileOps::system());
    ~OperationLock();
    OperationLock(const OperationLock&) = delete;
    OperationLock& operator=(const OperationLock&) = delete;

    const FileUrl& url() const { return url_; }
    bool isReleased() const { return isReleased_; }
    // Removes the lock file once; later calls do nothing.
    void release();

    static constexpr const char* fileName = ".kestrava.lock";

private:
    OperationLock(const QString& folder, const QString& name, const ResumableSortError& whenHeld, FileOps& ops);
    void acquire(const QString& folder, const QString& name, const ResumableSortError& whenHeld);

    FileUrl url_;
    FileOps* ops_;
    bool isReleased_ = false;
};

} // namespace kestrava
