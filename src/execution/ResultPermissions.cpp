#include "ResultPermissions.h"

#include "model/RunFolderMarker.h"
#include "platform/DurableFile.h"
#include "platform/FileSystemError.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <optional>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

namespace kestrava::ResumableSortExecutor {

namespace {

using Op = FileSystemError::Operation;

// The kernel reports the mask in /proc since 4.7; umask(2) itself can only be read by
// setting it, which would race with threads creating files.
std::optional<mode_t> umaskFromProc()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return std::nullopt;
    // Read whole: /proc reports a size of 0, so line-wise reading would stop at once.
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (!line.startsWith("Umask:"))
            continue;
        bool ok = false;
        const uint mask = line.mid(6).trimmed().toUInt(&ok, 8);
        if (ok)
            return mode_t(mask & 0777);
    }
    return std::nullopt;
}

} // namespace

mode_t currentUmask()
{
    if (const auto mask = umaskFromProc())
        return *mask;
    return 022;
}

mode_t userFileMode()
{
    return 0666 & ~currentUmask();
}

void ensureResultFolder(const QString& requested, FileOps& ops)
{
    const QString path = QDir::cleanPath(requested);
    const QByteArray name = QFile::encodeName(path);
    const QString parent = QFileInfo(path).path();
    // The kernel applies the umask to 0777, exactly as for a folder the user makes.
    if (ops.mkdir(name, 0777) == 0) {
        flushDirectory(parent, ops);
        return;
    }
    int error = errno;
    if (error == ENOENT && parent != path) {
        ensureResultFolder(parent, ops);
        if (ops.mkdir(name, 0777) == 0) {
            flushDirectory(parent, ops);
            return;
        }
        error = errno;
    }
    if (error != EEXIST)
        throw FileSystemError(Op::createFolder, path, error);
    struct stat info {};
    if (::stat(name.constData(), &info) != 0)
        throw FileSystemError(Op::createFolder, path, errno);
    if (!S_ISDIR(info.st_mode))
        throw FileSystemError(Op::createFolder, path, ENOTDIR);
}

void ensureRunFolderMarker(const QString& runFolder, FileOps& ops)
{
    const QString marker = runFolder + QLatin1Char('/') + QLatin1String(runFolderMarkerName);
    struct stat info {};
    if (ops.lstat(QFile::encodeName(marker), &info) == 0)
        return;
    try {
        UniqueFd file = createExclusive(marker, ops, O_WRONLY, userFileMode());
        file.close(marker);
    } catch (const FileSystemError& error) {
        if (error.errorNumber() != EEXIST)
            throw;
    }
    flushDirectory(runFolder, ops);
}

} // namespace kestrava::ResumableSortExecutor
