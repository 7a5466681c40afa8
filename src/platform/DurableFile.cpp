#include "DurableFile.h"
#include "DurableFileDetail.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrava {

namespace {

using Op = FileSystemError::Operation;

using detail::encoded;
using detail::fail;

QString parentOf(const QString& path)
{
    const QString parent = QFileInfo(path).path();
    return parent.isEmpty() ? QStringLiteral(".") : parent;
}

// Opens an existing file for appending, or creates it; reports which happened, because only
// a new name needs its directory flushed. Two steps instead of O_CREAT alone, since O_CREAT
// cannot tell whether it created the file.
UniqueFd openForAppend(const QString& path, FileOps& ops, mode_t mode, bool& created, bool readable)
{
    const QByteArray name = encoded(path);
    const int access = readable ? O_RDWR : O_WRONLY;
    for (int attempt = 0; attempt < 8; ++attempt) {
        int fd = ops.open(name, access | O_APPEND | O_NOFOLLOW | O_CLOEXEC);
        if (fd >= 0) {
            created = false;
            return UniqueFd(fd, ops);
        }
        if (errno != ENOENT)
            fail(Op::open, path, errno);
        fd = ops.open(name, access | O_APPEND | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
        if (fd >= 0) {
            created = true;
            return UniqueFd(fd, ops);
        }
        if (errno != EEXIST)
            fail(Op::create, path, errno);
        // Someone created it between the two opens: append to theirs.
    }
    fail(Op::open, path, EEXIST);
}

QString temporarySibling(const QString& path)
{
    const QFileInfo info(path);
    const QString suffix = QString::number(QRandomGenerator::global()->generate64(), 36);
    return parentOf(path) + QLatin1String("/.") + info.fileName() + QLatin1Char('.') + suffix + QLatin1String(".tmp");
}

} // namespace

UniqueFd& UniqueFd::operator=(UniqueFd&& other) noexcept
{
    if (this != &other) {
        if (fd_ >= 0)
            ops_->close(fd_);
        ops_ = other.ops_;
        fd_ = other.release();
    }
    return *this;
}

UniqueFd::~UniqueFd()
{
    if (fd_ >= 0)
        ops_->close(fd_);
}

void UniqueFd::close(const QString& pathForErrors)
{
    const int fd = release();
    if (fd < 0)
        return;
    if (ops_->close(fd) != 0)
        fail(Op::close, pathForErrors, errno);
}

void writeAll(int fd, const char* data, qint64 size, const QString& pathForErrors, FileOps& ops)
{
    qint64 written = 0;
    while (written < size) {
        const ssize_t result = ops.write(fd, data + written, size_t(size - written));
        if (result < 0) {
            if (errno == EINTR)
                continue;
            fail(Op::write, pathForErrors, errno);
        }
        // A zero-byte write for a non-empty buffer only happens when the device gives up.
        if (result == 0)
            fail(Op::write, pathForErrors, ENOSPC);
        written += result;
    }
}

namespace {

// The last line feed in `data` before index `before` (-1 when there is none).
qsizetype lineFeedBefore(QByteArrayView data, qsizetype before)
{
    return before <= 0 ? -1 : data.first(before).lastIndexOf('\n');
}

// Where the whole lines of the open file end, reading backwards from its end only as far as
// the start of its last line.
qint64 endOfWholeLines(int fd, qint64 size, const QString& path)
{
    qint64 window = std::min<qint64>(size, 4096);
    for (;;) {
        QByteArray tail(window, Qt::Uninitialized);
        qint64 got = 0;
        while (got < window) {
            const ssize_t n = ::pread(fd, tail.data() + got, size_t(window - got), off_t(size - window + got));
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                fail(Op::read, path, n < 0 ? errno : EIO);
            got += n;
        }
        // Decided once the window holds the whole of the last line, from the line feed before it.
        const qsizetype lastFeed = lineFeedBefore(tail, tail.size());
        if (window == size || (lastFeed >= 0 && lineFeedBefore(tail, lastFeed) >= 0))
            return size - window + wholeLinesLength(tail);
        window = std::min(size, window * 4);
    }
}

void appendDurably(const QString& path, const QByteArray& data, bool cutTornLine, FileOps& ops, mode_t mode)
{
    bool created = false;
    UniqueFd file = openForAppend(path, ops, mode, created, cutTornLine);

    struct stat before {};
    if (ops.fstat(file.get(), &before) != 0)
        fail(Op::inspect, path, errno);
    if (cutTornLine && before.st_size > 0) {
        // A line that a crash cut short is never continued: the new line starts where the
        // last acknowledged one ended.
        const qint64 whole = endOfWholeLines(file.get(), qint64(before.st_size), path);
        if (whole < qint64(before.st_size)) {
            if (ops.ftruncate(file.get(), off_t(whole)) != 0)
                fail(Op::resize, path, errno);
            before.st_size = off_t(whole);
        }
    }
    try {
        writeAll(file.get(), data.constData(), data.size(), path, ops);
    } catch (const FileSystemError&) {
        // Cut off what part of the record did reach the file, so that the next append does
        // not continue a half-written line. Best effort: the reader copes with a torn tail.
        ops.ftruncate(file.get(), before.st_size);
        throw;
    }
    if (ops.fsync(file.get()) != 0)
        fail(Op::flush, path, errno);
    file.close(path);
    if (created)
        flushDirectory(parentOf(path), ops);
}

} // namespace

void durableAppend(const QString& path, const QByteArray& data, FileOps& ops, mode_t mode)
{
    appendDurably(path, data, false, ops, mode);
}

void durableAppendLine(const QString& path, const QByteArray& line, FileOps& ops, mode_t mode)
{
    appendDurably(path, line, true, ops, mode);
}

qsizetype wholeLinesLength(QByteArrayView data)
{
    const qsizetype lastFeed = lineFeedBefore(data, data.size());
    if (lastFeed < 0)
        return 0;
    const qsizetype lineStart = lineFeedBefore(data, lastFeed) + 1;
    if (data.sliced(lineStart, lastFeed - lineStart).contains('\0'))
        return lineStart;
    return lastFeed + 1;
}

namespace {

// Writes `data` into a new hidden sibling of `path`, flushes it, and hands it to `publish`,
// which gives it its final name. On any failure the temporary file is gone and the error
// names `path`, which the user knows, rather than our temporary name.
template <class Publish>
void writeThroughTemporary(const QString& path, const QByteArray& data, FileOps& ops, mode_t mode, Publish publish)
{
    UniqueFd file;
    QString temporary;
    for (int attempt = 0;; ++attempt) {
        temporary = temporarySibling(path);
        try {
            file = createExclusive(temporary, ops, O_WRONLY, mode);
            break;
        } catch (const FileSystemError& error) {
            if (error.errorNumber() != EEXIST || attempt >= 16)
                throw FileSystemError(Op::write, path, error.errorNumber());
        }
    }

    try {
        writeAll(file.get(), data.constData(), data.size(), temporary, ops);
        if (ops.fsync(file.get()) != 0)
            fail(Op::flush, path, errno);
        file.close(path);
        publish(temporary);
    } catch (const FileSystemError& error) {
        file = UniqueFd();
        ops.unlink(encoded(temporary));
        throw FileSystemError(error.operation(), path, error.errorNumber());
    }
    flushDirectory(parentOf(path), ops);
}

} // namespace

void atomicReplace(const QString& path, const QByteArray& data, FileOps& ops, mode_t mode)
{
    writeThroughTemporary(path, data, ops, mode, [&](const QString& temporary) {
        if (ops.rename(encoded(temporary), encoded(path)) != 0)
            fail(Op::rename, path, errno);
    });
}

void atomicCreate(const QString& path, const QByteArray& data, FileOps& ops, mode_t mode)
{
    writeThroughTemporary(path, data, ops, mode,
                          [&](const QString& temporary) { renameExclusive(temporary, path, ops); });
}

void flushFile(const QString& path, FileOps& ops)
{
    const int fd = ops.open(encoded(path), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        fail(Op::open, path, errno);
    UniqueFd file(fd, ops);
    if (ops.fsync(file.get()) != 0)
        fail(Op::flush, path, errno);
    file.close(path);
}

void flushDirectory(const QString& directory, FileOps& ops)
{
    const int fd = ops.open(encoded(directory), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        fail(Op::open, directory, errno);
    UniqueFd folder(fd, ops);
    if (ops.fsync(folder.get()) != 0) {
        // Some FUSE and network file systems cannot flush a directory at all; their entries
        // are as durable as they will ever be, which is no reason to fail the caller.
        if (errno != EINVAL && errno != ENOTSUP && errno != ENOSYS)
            fail(Op::flush, directory, errno);
    }
    folder.close(directory);
}

UniqueFd createExclusive(const QString& path, FileOps& ops, int flags, mode_t mode)
{
    if ((flags & O_ACCMODE) == 0)
        flags |= O_WRONLY;
    const int fd = ops.open(encoded(path), flags | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
    if (fd < 0)
        fail(Op::create, path, errno);
    return UniqueFd(fd, ops);
}

QByteArray readWholeFile(const QString& path, qint64 maxBytes, FileOps& ops)
{
    const int fd = ops.open(encoded(path), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        fail(Op::open, path, errno);
    UniqueFd file(fd, ops);
    struct stat info {};
    if (ops.fstat(file.get(), &info) != 0)
        fail(Op::inspect, path, errno);
    if (S_ISDIR(info.st_mode))
        fail(Op::read, path, EISDIR);
    if (info.st_size > maxBytes)
        fail(Op::read, path, EFBIG);

    QByteArray content;
    // The size is a hint only (files in /proc report 0, a writer may be appending).
    content.reserve(qsizetype(info.st_size) + 1);
    for (;;) {
        const qint64 used = content.size();
        if (used > maxBytes)
            fail(Op::read, path, EFBIG);
        // One read past the announced size sees the end of the file in the usual case.
        const qint64 chunk = std::max<qint64>(1 << 16, qint64(info.st_size) + 1 - used);
        content.resize(used + chunk);
        const ssize_t got = ops.read(file.get(), content.data() + used, size_t(chunk));
        if (got < 0) {
            if (errno == EINTR) {
                content.resize(used);
                continue;
            }
            fail(Op::read, path, errno);
        }
        content.resize(used + got);
        if (got == 0)
            break;
    }
    if (content.size() > maxBytes)
        fail(Op::read, path, EFBIG);
    file.close(path);
    return content;
}

void ensureDirectory(const QString& requested, FileOps& ops)
{
    const QString path = QDir::cleanPath(requested);
    const QByteArray name = encoded(path);
    if (ops.mkdir(name, 0700) == 0) {
        flushDirectory(parentOf(path), ops);
        return;
    }
    int error = errno;
    if (error == ENOENT) {
        const QString parent = parentOf(path);
        if (parent == path)
            fail(Op::createFolder, path, error);
        ensureDirectory(parent, ops);
        if (ops.mkdir(name, 0700) == 0) {
            flushDirectory(parent, ops);
            return;
        }
        error = errno;
    }
    if (error != EEXIST)
        fail(Op::createFolder, path, error);
    // Something has the name: fine when it is a folder (or a link to one).
    struct stat info {};
    if (::stat(name.constData(), &info) != 0)
        fail(Op::createFolder, path, errno);
    if (!S_ISDIR(info.st_mode))
        fail(Op::createFolder, path, ENOTDIR);
}

} // namespace kestrava
