#include "OperationLock.h"

#include "ResumableSortError.h"

#include "platform/DurableFile.h"
#include "platform/ProcessProbe.h"

#include <QCoreApplication>
#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <optional>

namespace kestrava {

namespace {

std::optional<qint64> ownerOf(const QString& path, FileOps& ops)
{
    try {
        const QByteArray content = readWholeFile(path, 64, ops);
        bool ok = false;
        const int pid = QString::fromUtf8(content).trimmed().toInt(&ok);
        if (!ok || pid <= 0)
            return std::nullopt;
        return pid;
    } catch (const FileSystemError&) {
        return std::nullopt;
    }
}

} // namespace

OperationLock::OperationLock(const FileUrl& destinationRoot, FileOps& ops)
    : url_(destinationRoot.appending(QLatin1String(fileName)))
    , ops_(&ops)
{
    ensureDirectory(destinationRoot.path(), ops);
    if (tryCreate())
        return;

    const std::optional<qint64> owner = ownerOf(url_.path(), ops);
    if (!owner || isProcessAlive(*owner))
        throw ResumableSortError::operationAlreadyRunning();
    if (ops.unlink(QFile::encodeName(url_.path())) != 0 && errno != ENOENT)
        throw FileSystemError(FileSystemError::Operation::remove, url_.path(), errno);
    if (!tryCreate())
        throw ResumableSortError::operationAlreadyRunning();
}

OperationLock::~OperationLock()
{
    release();
}

bool OperationLock::tryCreate()
{
    UniqueFd file;
    try {
        file = createExclusive(url_.path(), *ops_, O_WRONLY, 0600);
    } catch (const FileSystemError& error) {
        if (error.errorNumber() == EEXIST)
            return false;
        throw;
    }
    const QByteArray pid = QByteArray::number(QCoreApplication::applicationPid());
    try {
        writeAll(file.get(), pid.constData(), pid.size(), url_.path(), *ops_);
        file.close(url_.path());
    } catch (...) {
        file = UniqueFd();
        ops_->unlink(QFile::encodeName(url_.path()));
        throw;
    }
    return true;
}

void OperationLock::release()
{
    if (isReleased_)
        return;
    isReleased_ = true;
    ops_->unlink(QFile::encodeName(url_.path()));
}

} // namespace kestrava
