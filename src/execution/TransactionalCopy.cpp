#include "TransactionalCopy.h"

#include "BackgroundHasher.h"
#include "ChunkPool.h"
#include "ChunkReading.h"
#include "ResultPermissions.h"
#include "ResumableSortError.h"

#include "model/RunFolderMarker.h"
#include "platform/DurableFile.h"
#include "platform/FileSystemError.h"

#include <QDir>
#include <QFile>
#include <QUuid>

#include <cerrno>
#include <cmath>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <utility>

namespace kestrava::ResumableSortExecutor {

namespace {

using Op = FileSystemError::Operation;

QByteArray encoded(const QString& path)
{
    return QFile::encodeName(path);
}

QString temporaryPathFor(const FileUrl& destination)
{
    return destination.parent().path() + QStringLiteral("/.kestrava-")
        + QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper() + QStringLiteral(".partial");
}

bool isKnown(const QDateTime& date)
{
    return date.isValid() && date != distantPast();
}

// The temporary file's name means nothing to the user; errors name the destination instead.
[[noreturn]] void rethrowForDestination(const FileSystemError& error, const FileUrl& destination)
{
    throw FileSystemError(error.operation(), destination.path(), error.errorNumber());
}

// While a copy is written, a second thread hashing the same chunk takes the digest off the path
// that reads and writes: even a one-chunk photo is written while it is hashed. Starting the
// thread costs tens of microseconds, hashing a megabyte about half a millisecond: below that
// (sidecars, small previews) the thread would cost more than it hides.
constexpr qint64 threadedCopyHashingMinimum = 1024 * 1024;

bool worthASecondThreadForCopying(qint64 size)
{
    return size >= threadedCopyHashingMinimum;
}

timespec toTimespec(const QDateTime& date)
{
    const qint64 ms = date.toMSecsSinceEpoch();
    timespec time {};
    time.tv_sec = time_t(ms / 1000);
    time.tv_nsec = long((ms % 1000) * 1000000);
    if (time.tv_nsec < 0) {
        time.tv_sec -= 1;
        time.tv_nsec += 1000000000;
    }
    return time;
}

} // namespace

void prefetch(const FileUrl& source, FileOps& ops)
{
    const int fd = ops.open(encoded(source.path()), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0)
        return;
    ::posix_fadvise(fd, 0, 0, POSIX_FADV_WILLNEED);
    ops.close(fd);
}

qint64 fileSize(const FileUrl& url, FileOps& ops)
{
    struct stat info {};
    if (ops.lstat(encoded(url.path()), &info) != 0)
        return -1;
    return qint64(info.st_size);
}

void validateSource(const PhotoItem& item, FileOps& ops)
{
    struct stat info {};
    if (ops.lstat(encoded(item.sourceURL.path()), &info) != 0)
        throw FileSystemError(Op::inspect, item.sourceURL.path(), errno);
    const auto changed = [&] { return ResumableSortError::sourceChanged(item.sourceURL.fileName()); };
    if (item.fileSize >= 1 && qint64(info.st_size) != item.fileSize)
        throw changed();
    if (isKnown(item.modificationDate)) {
        const double current = double(info.st_mtim.tv_sec) + double(info.st_mtim.tv_nsec) / 1e9;
        const double recorded = double(item.modificationDate.toMSecsSinceEpoch()) / 1000.0;
        if (std::fabs(current - recorded) > modificationDateTolerance)
            throw changed();
    }
}

bool isAbandonedReservation(const QString& destination, const FileUrl& runFolder, FileOps& ops)
{
    if (isMarkedReservation(destination, ops))
        return true;
    const QString folder = runFolder.path();
    if (folder.isEmpty() || !destination.startsWith(folder + QLatin1Char('/')))
        return false;
    struct stat found {};
    struct stat marker {};
    return ops.lstat(QFile::encodeName(destination), &found) == 0 && S_ISREG(found.st_mode) && found.st_size == 0
        && ops.lstat(QFile::encodeName(folder + QLatin1Char('/') + QLatin1String(runFolderMarkerName)), &marker) == 0
        && S_ISREG(marker.st_mode);
}

qint64 validateExistingDestination(const PhotoItem& item, const FileUrl& destination, VerificationMode verificationMode,
                                   bool compareContent, FileOps& ops)
{
    const auto failed = [&] { return ResumableSortError::verificationFailed(item.sourceURL.fileName()); };
    const qint64 sourceSize = fileSize(item.sourceURL, ops);
    const qint64 expected = item.fileSize >= 1 ? item.fileSize : sourceSize;
    const qint64 actual = fileSize(destination, ops);
    if (actual < 0 || (expected >= 0 && actual != expected))
        throw failed();
    if ((verificationMode == VerificationMode::sha256 || compareContent) && sourceSize >= 0) {
        try {
            if (sha256(item.sourceURL, ops) != sha256(destination, ops))
                throw failed();
        } catch (const FileSystemError&) {
            throw failed();
        }
    }
    return actual;
}

UnfinishedCopy::UnfinishedCopy(UnfinishedCopy&& other) noexcept
    : temporary_(std::exchange(other.temporary_, QString()))
    , destination_(std::move(other.destination_))
    , sourceName_(std::move(other.sourceName_))
    , expectedSize_(other.expectedSize_)
    , mode_(other.mode_)
    , sourceDigest_(std::move(other.sourceDigest_))
    , output_(std::move(other.output_))
    , ops_(other.ops_)
{
}

UnfinishedCopy::~UnfinishedCopy()
{
    discard();
}

void UnfinishedCopy::discard()
{
    output_ = UniqueFd();
    if (!temporary_.isEmpty())
        ops_->unlink(encoded(std::exchange(temporary_, QString())));
}

UnfinishedCopy startCopy(const PhotoItem& item, const FileUrl& destination, VerificationMode verificationMode,
                         FileOps& ops, const ChunkProgress& progress, ResultMode mode)
{
    const QString source = item.sourceURL.path();
    const bool hashing = verificationMode == VerificationMode::sha256;

    UniqueFd input;
    {
        const int fd = ops.open(encoded(source), O_RDONLY | O_CLOEXEC);
        if (fd < 0)
            throw FileSystemError(Op::open, source, errno);
        input = UniqueFd(fd, ops);
    }
    ::posix_fadvise(input.get(), 0, 0, POSIX_FADV_SEQUENTIAL);
    // Asked for ahead of the reads: the disk streams the file while the first chunk is written
    // and hashed, instead of waiting for one read-ahead window per read.
    if (hashing)
        ::posix_fadvise(input.get(), 0, 0, POSIX_FADV_WILLNEED);

    UnfinishedCopy copy;
    copy.ops_ = &ops;
    copy.destination_ = destination;
    copy.sourceName_ = item.sourceURL.fileName();
    const QString temporary = temporaryPathFor(destination);
    try {
        copy.output_ = createExclusive(temporary, ops, O_WRONLY, 0600);
    } catch (const FileSystemError& error) {
        rethrowForDestination(error, destination);
    }
    // From here on the copy owns the temporary file and removes it on every failure path.
    copy.temporary_ = temporary;

    try {
        struct stat sourceInfo {};
        if (ops.fstat(input.get(), &sourceInfo) != 0)
            throw FileSystemError(Op::inspect, source, errno);
        copy.mode_ = mode == ResultMode::original ? mode_t(sourceInfo.st_mode & 0777) : userFileMode();

        // Start writing each chunk to the disk as soon as it is in the file, so that the flush
        // at the end waits for the last chunk only rather than for the whole file. A hint: the
        // fsync in the second half is what the result relies on.
        qint64 copied = 0;
        const auto written = [&](qint64 bytes) {
            ::sync_file_range(copy.output_.get(), copied, bytes, SYNC_FILE_RANGE_WRITE);
            copied += bytes;
            if (progress)
                progress(SortPhase::copying, bytes);
        };

        // Without a digest the bytes need not pass through this process: the kernel copies them
        // page cache to page cache (measured: the size-checked copy of many files took half the
        // time of reading and writing them on the same disk). With sha256 that measured no
        // faster, as the bytes are read for the digest anyway. Where the kernel cannot copy (across
        // file systems), or fails, both offsets stand where it stopped and reading and writing go
        // on from there, which also tells a read error from a write error.
        const bool copiedByKernel = !hashing && [&] {
            for (;;) {
                const ssize_t moved = ops.copyRange(input.get(), copy.output_.get(), size_t(chunkSize));
                if (moved <= 0)
                    return moved == 0;
                written(moved);
            }
        }();

        // The source is read once: with sha256 the bytes just read are hashed (on a second
        // thread for photos) while they are written, so the source digest describes
        // exactly what was copied.
        const bool threaded = hashing && worthASecondThreadForCopying(qint64(sourceInfo.st_size));
        ChunkBuffers buffers(threaded ? bufferCount : copiedByKernel ? 0 : 1);
        std::optional<BackgroundHasher> sourceHasher;
        if (hashing)
            sourceHasher.emplace(threaded);
        for (qint64 index = 0; !copiedByKernel; ++index) {
            const qint64 slot = threaded ? index : 0;
            if (threaded && index >= bufferCount)
                sourceHasher->waitUntilHashed(index - bufferCount);
            const qint64 got = readChunk(input.get(), buffers[slot], source, ops);
            if (got == 0)
                break;
            if (hashing)
                sourceHasher->submit(buffers[slot], size_t(got));
            writeAll(copy.output_.get(), buffers[slot], got, destination.path(), ops);
            written(got);
        }
        if (hashing)
            copy.sourceDigest_ = sourceHasher->finalize();
        sourceHasher.reset();
        input.close(source);

        // The date goes on before the flush, so one flush makes data and date durable and the
        // file appears under its final name already carrying its date.
        const timespec modified = isKnown(item.modificationDate) ? toTimespec(item.modificationDate) : sourceInfo.st_mtim;
        const timespec times[2] = {{0, UTIME_OMIT}, modified};
        if (::futimens(copy.output_.get(), times) != 0)
            throw FileSystemError(Op::write, destination.path(), errno);
        copy.expectedSize_ = item.fileSize >= 1 ? item.fileSize : qint64(sourceInfo.st_size);
        return copy;
    } catch (const FileSystemError& error) {
        copy.discard();
        if (error.path() == temporary)
            rethrowForDestination(error, destination);
        throw;
    }
}

qint64 finishCopy(UnfinishedCopy copy, const ChunkProgress& progress)
{
    FileOps& ops = *copy.ops_;
    const FileUrl& destination = copy.destination_;
    const QString temporary = copy.temporary_;
    try {
        // Set before the flush, so the one flush makes the mode durable with the data. File
        // systems without Unix modes (FAT, exFAT) refuse; their files are readable anyway.
        ::fchmod(copy.output_.get(), copy.mode_);
        if (ops.fsync(copy.output_.get()) != 0)
            throw FileSystemError(Op::flush, destination.path(), errno);
        struct stat written {};
        if (ops.fstat(copy.output_.get(), &written) != 0)
            throw FileSystemError(Op::inspect, destination.path(), errno);
        copy.output_.close(destination.path());

        if (qint64(written.st_size) != copy.expectedSize_)
            throw ResumableSortError::verificationFailed(copy.sourceName_);
        if (!copy.sourceDigest_.isEmpty()
            && sha256(FileUrl::fromLocalPath(temporary), ops, progress) != copy.sourceDigest_)
            throw ResumableSortError::verificationFailed(copy.sourceName_);

        renameExclusive(temporary, destination.path(), ops);
        copy.temporary_.clear();
        // The new name is made durable before the copy counts: once the journal says
        // "completed" the session may end, and no later run would look for a name a power cut
        // took back while the user formats the card. A name that cannot be made durable goes
        // again, so a failed file never leaves a result a later run would have to tell apart
        // from its own.
        try {
            flushDirectory(destination.parent().path(), ops);
        } catch (const FileSystemError&) {
            ops.unlink(encoded(destination.path()));
            throw;
        }
        return qint64(written.st_size);
    } catch (const FileSystemError& error) {
        // A failed flush leaves the pages in an unknown state: the copy is dropped, never
        // flushed again, and the next attempt starts from the source.
        copy.discard();
        if (error.path() == temporary)
            rethrowForDestination(error, destination);
        throw;
    }
}

qint64 copyTransactionally(const PhotoItem& item, const FileUrl& destination, VerificationMode verificationMode,
                           FileOps& ops, const ChunkProgress& progress, ResultMode mode)
{
    return finishCopy(startCopy(item, destination, verificationMode, ops, progress, mode), progress);
}

void removeStaleTemporaries(const QString& folder, FileOps& ops)
{
    const QStringList names = QDir(folder).entryList({QStringLiteral(".kestrava-*.partial")},
                                                     QDir::Files | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    for (const QString& name : names)
        ops.unlink(encoded(folder + QLatin1Char('/') + name));
}

} // namespace kestrava::ResumableSortExecutor
