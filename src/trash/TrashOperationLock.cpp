#include "TrashOperationLock.h"

#include "TrashTransactionError.h"

#include "platform/DurableFile.h"
#include "platform/FileSystemError.h"
#include "platform/ProcessProbe.h"

#include <QDir>
#include <QFile>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace kestrava {

namespace {

TrashTransactionError alreadyRunning()
{
    return TrashTransactionError(TrashTransactionError::Kind::transactionAlreadyRunning);
}

// The lock lives beside the journal: a folder where it cannot be made or read cannot hold the
// journal either, and the user hears why, not that another session were running.
TrashTransactionError lockUnusable(int errorNumber)
{
    return TrashTransactionError(TrashTransactionError::Kind::journalUnavailable,
                                 FileSystemError(FileSystemError::Operation::write, QString(), errorNumber).reason());
}

// kill(pid, 0) answering ESRCH is the only proof that the owner is gone. Ids that kill would
// read as a process group or "every process" (0, negative) are never probed.
bool ownerIsGone(const QByteArray& content)
{
    bool ok = false;
    const qint32 pid = content.trimmed().toInt(&ok);
    if (!ok || pid <= 0)
        return false;
    return !isProcessAlive(pid);
}

} // namespace

TrashOperationLock::TrashOperationLock(const QString& baseDirectory, FileOps& ops)
    : path_(QDir(baseDirectory).filePath(QLatin1String(fileName))), ops_(ops)
{
    try {
        ensureDirectory(baseDirectory, ops_);
    } catch (const FileSystemError& error) {
        throw TrashTransactionError(TrashTransactionError::Kind::journalUnavailable, error.reason());
    }
    if (tryCreate())
        return;

    QByteArray content;
    try {
        content = readWholeFile(path_, 64, ops_);
    } catch (const FileSystemError& error) {
        // Released between the two calls: the lock is free now.
        if (error.errorNumber() == ENOENT && tryCreate())
            return;
        if (error.errorNumber() == ENOENT)
            throw alreadyRunning();
        throw lockUnusable(error.errorNumber());
    }
    if (!ownerIsGone(content))
        throw alreadyRunning();
    ops_.unlink(QFile::encodeName(path_));
    if (!tryCreate())
        throw alreadyRunning();
}

bool TrashOperationLock::tryCreate()
{
    // The id is written under a private name first and the lock appears by link(), which
    // fails when it exists: a process killed at any moment leaves either no lock or one with
    // its whole id, never an empty lock that would block every later session for good.
    const QByteArray pid = QByteArray::number(qint64(::getpid()));
    const QByteArray draft = QFile::encodeName(path_) + '.' + pid;
    ops_.unlink(draft); // left by a process with this id that died between the two steps
    {
        const int fd = ops_.open(draft, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
        if (fd < 0)
            throw lockUnusable(errno);
        UniqueFd file(fd, ops_);
        try {
            writeAll(fd, pid.constData(), pid.size(), path_, ops_);
        } catch (const FileSystemError& error) {
            file = UniqueFd();
            ops_.unlink(draft);
            throw lockUnusable(error.errorNumber());
        }
        // The lock protects against a second process now, not across a power cut; its flush
        // outcome does not decide anything.
        ops_.fsync(fd);
    }
    const int linked = ops_.link(draft, QFile::encodeName(path_));
    const int linkError = errno;
    ops_.unlink(draft);
    if (linked == 0)
        return true;
    if (linkError == EEXIST)
        return false;
    throw lockUnusable(linkError);
}

TrashOperationLock::~TrashOperationLock()
{
    release();
}

void TrashOperationLock::release()
{
    if (released_)
        return;
    released_ = true;
    ops_.unlink(QFile::encodeName(path_));
}

} // namespace kestrava
