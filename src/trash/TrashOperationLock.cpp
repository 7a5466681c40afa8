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
    } catch (const FileSystemError&) {
        throw alreadyRunning();
    }
    if (!ownerIsGone(content))
        throw alreadyRunning();
    ops_.unlink(QFile::encodeName(path_));
    if (!tryCreate())
        throw alreadyRunning();
}

bool TrashOperationLock::tryCreate()
{
    const int fd = ops_.open(QFile::encodeName(path_), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
    if (fd < 0)
        return false;
    UniqueFd file(fd, ops_);
    const QByteArray pid = QByteArray::number(qint64(::getpid()));
    try {
        writeAll(fd, pid.constData(), pid.size(), path_, ops_);
    } catch (const FileSystemError&) {
        // A lock without a readable id would block every later session: take it back.
        file = UniqueFd();
        ops_.unlink(QFile::encodeName(path_));
        throw alreadyRunning();
    }
    // The lock protects against a second process now, not across a power cut; its flush
    // outcome does not decide anything.
    ops_.fsync(fd);
    return true;
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
