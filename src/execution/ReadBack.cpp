// Reading a file back from the medium for its digest.

#include "BackgroundHasher.h"
#include "ChunkReading.h"

#include "platform/DurableFile.h"
#include "platform/FileSystemError.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <optional>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace kestrava::ResumableSortExecutor {

qint64 readChunk(int fd, char* buffer, const QString& pathForErrors, FileOps& ops, bool direct)
{
    qint64 filled = 0;
    while (filled < chunkSize && !(direct && filled > 0)) {
        const ssize_t got = ops.read(fd, buffer + filled, size_t(chunkSize - filled));
        if (got < 0) {
            if (errno == EINTR)
                continue;
            throw FileSystemError(FileSystemError::Operation::read, pathForErrors, errno);
        }
        if (got == 0)
            break;
        filled += got;
    }
    return filled;
}

namespace {

using Op = FileSystemError::Operation;

QByteArray encoded(const QString& path)
{
    return QFile::encodeName(path);
}

// Reading back, there is nothing to overlap the hashing with unless another chunk follows.
bool worthASecondThreadForReadingBack(qint64 size)
{
    return size > chunkSize;
}

// Streams an open file through a background hasher: the next chunk is read while the
// previous one is hashed.
QByteArray hashOpenFile(int fd, qint64 size, const QString& pathForErrors, FileOps& ops, const ChunkProgress& progress,
                        bool direct = false)
{
    // Hashed on this thread, a chunk is done with before the next read: one buffer does.
    const bool threaded = worthASecondThreadForReadingBack(size);
    ChunkBuffers buffers(threaded ? bufferCount : 1);
    BackgroundHasher hasher(threaded);
    for (qint64 index = 0;; ++index) {
        const qint64 slot = threaded ? index : 0;
        if (threaded && index >= bufferCount)
            hasher.waitUntilHashed(index - bufferCount);
        const qint64 got = readChunk(fd, buffers[slot], pathForErrors, ops, direct);
        if (got == 0)
            break;
        hasher.submit(buffers[slot], size_t(got));
        if (progress)
            progress(SortPhase::verifying, got);
        if (got < chunkSize)
            break; // the end of the file: a whole chunk is read unless it ends
    }
    return hasher.finalize();
}

// Whether any page of the open file is in the page cache: its mapping, never touched, asks the
// cache without reading. Unknown counts as cached.
bool anyPageCached(int fd, qint64 size)
{
    if (size <= 0)
        return false;
    void* mapping = ::mmap(nullptr, size_t(size), PROT_READ, MAP_SHARED, fd, 0);
    if (mapping == MAP_FAILED)
        return true;
    const long pageSize = ::sysconf(_SC_PAGESIZE);
    std::vector<unsigned char> resident(size_t((size + pageSize - 1) / pageSize));
    const bool known = ::mincore(mapping, size_t(size), resident.data()) == 0;
    ::munmap(mapping, size_t(size));
    return !known || std::any_of(resident.begin(), resident.end(), [](unsigned char page) { return page & 1; });
}

// Past the cache, where the file system allows it; nothing when it refuses, to open the file
// that way or to read it so.
std::optional<QByteArray> hashPastTheCache(const FileUrl& url, qint64 size, FileOps& ops, const ChunkProgress& progress)
{
    const int fd = ops.open(encoded(url.path()), O_RDONLY | O_CLOEXEC | O_DIRECT);
    if (fd < 0)
        return std::nullopt;
    UniqueFd file(fd, ops);
    try {
        const QByteArray digest = hashOpenFile(file.get(), size, url.path(), ops, progress, true);
        file.close(url.path());
        return digest;
    } catch (const FileSystemError& error) {
        if (error.errorNumber() != EINVAL)
            throw;
        return std::nullopt;
    }
}

} // namespace

QByteArray sha256(const FileUrl& url, FileOps& ops, const ChunkProgress& progress)
{
    const int fd = ops.open(encoded(url.path()), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        throw FileSystemError(Op::open, url.path(), errno);
    UniqueFd file(fd, ops);
    struct stat info {};
    const qint64 size = ops.fstat(file.get(), &info) == 0 ? qint64(info.st_size) : 0;
    // Dropping the cached pages makes the next reads come from the medium, and reading through
    // the cache then lets the kernel read ahead in large requests while the chunks already read
    // are hashed (measured: faster than reading past the cache a chunk at a time, and with less
    // of the disk's time). Only pages that are clean and not mapped are dropped, which is why
    // copies are flushed before they are hashed, and why the cache is asked afterwards: a page
    // still there would be read from memory, so such a file is read past the cache instead.
    ::posix_fadvise(file.get(), 0, 0, POSIX_FADV_DONTNEED);
    if (anyPageCached(file.get(), size))
        if (std::optional<QByteArray> digest = hashPastTheCache(url, size, ops, progress))
            return *digest;
    // A file system that cannot read past its cache (tmpfs, some card drivers) is read through it.
    ::posix_fadvise(file.get(), 0, 0, POSIX_FADV_SEQUENTIAL);
    ::posix_fadvise(file.get(), 0, 0, POSIX_FADV_WILLNEED);
    const QByteArray digest = hashOpenFile(file.get(), size, url.path(), ops, progress);
    // What was read back is not needed again; kept, it would crowd out the sources read ahead.
    ::posix_fadvise(file.get(), 0, 0, POSIX_FADV_DONTNEED);
    file.close(url.path());
    return digest;
}

} // namespace kestrava::ResumableSortExecutor
