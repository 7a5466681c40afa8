#pragma once

// The verified copy of one file and the checks around it. A copy is written to a hidden
// temporary file beside its destination and renamed into place only after it was proven:
// a reader of the result folder sees a complete, verified file or nothing.
//
// Temporary file: <destination folder>/.kestrava-<UUID>.partial, created exclusively without
// following links, mode 0600; it takes the result's mode just before it is flushed and renamed. A crash can leave one behind; it is hidden and never taken for
// a result, and the next run removes it from the folders it writes to.

#include "model/PhotoModel.h"
#include "model/SortOptions.h"
#include "platform/DurableFile.h"
#include "platform/FileOps.h"

#include <QByteArray>
#include <sys/types.h>
#include <functional>

namespace kestrava::ResumableSortExecutor {

constexpr qint64 chunkSize = 4 * 1024 * 1024;
constexpr double modificationDateTolerance = 1.0; // seconds

// Whose permission bits a result gets: those of a file the user creates (0666 & ~umask), or,
// for a move, the original's, so that moving never changes who can read a photo.
enum class ResultMode { userDefault, original };

// Called with the bytes of each chunk as they are written (copying) or read back (verifying).
using ChunkProgress = std::function<void(SortPhase phase, qint64 bytes)>;

// Copies the photo to `destination` through a temporary file: stream in 4 MiB chunks, set the
// modification date, fsync, compare the size with the expected one (the recorded size when at
// least 1, else the source's size now), with sha256 compare the digest of the bytes read from
// the source with the digest of the copy read back from the storage (its cached pages dropped
// first), then rename into place without ever replacing a file and flush the folder (a name
// that cannot be made durable is removed again and the flush error thrown).
// Returns the verified size. On failure the temporary file is removed and the error thrown:
// ResumableSortError::verificationFailed for a size or digest mismatch, else FileSystemError
// naming the destination. A failed flush is never retried: the next attempt starts over.
qint64 copyTransactionally(const PhotoItem& item, const FileUrl& destination, VerificationMode verificationMode,
                           FileOps& ops = FileOps::system(), const ChunkProgress& progress = {},
                           ResultMode mode = ResultMode::userDefault);

// copyTransactionally in two halves, so that the next file can be copied while this one is
// flushed and read back (two cores, and the disk never idles between files). The first half
// streams the source into the temporary file and dates it; the second flushes, checks and
// renames. Nothing is visible under the destination's name before the second half, and an
// unfinished copy that is dropped removes its temporary file.
class UnfinishedCopy {
public:
    UnfinishedCopy(UnfinishedCopy&& other) noexcept;
    UnfinishedCopy& operator=(UnfinishedCopy&&) = delete;
    UnfinishedCopy(const UnfinishedCopy&) = delete;
    ~UnfinishedCopy();

private:
    UnfinishedCopy() = default;
    void discard();

    friend UnfinishedCopy startCopy(const PhotoItem&, const FileUrl&, VerificationMode, FileOps&, const ChunkProgress&,
                                    ResultMode);
    friend qint64 finishCopy(UnfinishedCopy, const ChunkProgress&);

    QString temporary_;
    FileUrl destination_;
    QString sourceName_;
    qint64 expectedSize_ = 0;
    mode_t mode_ = 0600;
    QByteArray sourceDigest_; // empty without sha256
    UniqueFd output_;
    FileOps* ops_ = nullptr;
};

// Same errors as copyTransactionally; a failure of either half removes the temporary file.
UnfinishedCopy startCopy(const PhotoItem& item, const FileUrl& destination, VerificationMode verificationMode,
                         FileOps& ops = FileOps::system(), const ChunkProgress& progress = {},
                         ResultMode mode = ResultMode::userDefault);
qint64 finishCopy(UnfinishedCopy copy, const ChunkProgress& progress = {});

// Digest of the file as stored: read past the cache where the file system allows it, else with
// its cached pages dropped first, so a copy is checked against the medium rather than against
// the memory it was written from.
QByteArray sha256(const FileUrl& url, FileOps& ops = FileOps::system(), const ChunkProgress& progress = {});

// Asks the kernel to start reading a file the run copies next, so that its first chunk is in
// memory when the copy begins and the disk does not idle between files. A hint: a file that
// cannot be opened is left to its copy to report.
void prefetch(const FileUrl& source, FileOps& ops = FileOps::system());

// -1 when unknown.
qint64 fileSize(const FileUrl& url, FileOps& ops = FileOps::system());

// Throws ResumableSortError::sourceChanged when the size differs from a recorded size of at
// least 1, or both dates are known and differ by more than 1.0 s; FileSystemError when the
// source cannot be inspected.
void validateSource(const PhotoItem& item, FileOps& ops = FileOps::system());

// Accepts a file already at `destination` as this photo's result: the size must equal the
// expected size and, with sha256 (or `compareContent`), the source must be gone or have the
// same digest. Returns the verified size; throws ResumableSortError::verificationFailed.
// True when `destination` is an empty regular file a killed run left between reserving the name
// and renaming onto it (on file systems without a no-replace rename, see renameExclusive): it
// carries the reservation's mark, or it lies in `runFolder`, the run folder holding Kestrava's
// marker, which only runs write, under the exact name a record of the run is waiting for. The
// mark alone cannot prove it: a kill between creating the reservation and marking it leaves an
// unmarked one. An empty file holds no picture, and a photo is never empty, so removing such a
// file loses nothing; a file with content is never taken for one.
bool isAbandonedReservation(const QString& destination, const FileUrl& runFolder, FileOps& ops = FileOps::system());

qint64 validateExistingDestination(const PhotoItem& item, const FileUrl& destination, VerificationMode verificationMode,
                                   bool compareContent = false, FileOps& ops = FileOps::system());

// Removes hidden temporaries a killed run left in `folder`. Only to be called under the
// folder's operation lock, when no other run can be writing one.
void removeStaleTemporaries(const QString& folder, FileOps& ops = FileOps::system());

} // namespace kestrava::ResumableSortExecutor
