#pragma once

// Writes that must survive a crash or a power cut. Every function returns only after the
// data (and, where a name appeared or changed, its directory) reached stable storage, or
// throws FileSystemError. After a failed flush nothing is retried on the same data: the
// page state is unknown, so callers redo the whole write.

#include "FileOps.h"
#include "FileSystemError.h"

#include <QByteArray>
#include <QString>

namespace kestrava {

// Owns a file descriptor; closes it (ignoring the result) if not closed explicitly.
class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd, FileOps& ops = FileOps::system()) : fd_(fd), ops_(&ops) {}
    UniqueFd(UniqueFd&& other) noexcept : fd_(other.release()), ops_(other.ops_) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept;
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;
    ~UniqueFd();

    int get() const { return fd_; }
    bool isValid() const { return fd_ >= 0; }
    int release() { int fd = fd_; fd_ = -1; return fd; }
    // Closes and reports the result (close can report a delayed write error).
    void close(const QString& pathForErrors);

private:
    int fd_ = -1;
    FileOps* ops_ = &FileOps::system();
};

// Open (creating with `mode` if missing), seek to end, write all of `data`, fsync, close.
// When the file was created, its directory is flushed too. A symbolic link at `path` is
// refused (ELOOP). When a write fails, the file is cut back to its earlier length, so a
// record is never left half-written for the next append to continue.
void durableAppend(const QString& path, const QByteArray& data, FileOps& ops = FileOps::system(), mode_t mode = 0600);

// durableAppend for one line (ending in '\n') of a log, for the session's event log and the
// trash journal alike.
//
// The durable line format. One record is one line, written by one append and acknowledged to
// the user only after its fsync returned. No padding: a line may straddle pages and be of any
// length.
// - A SIGKILL during the write: the kernel copies the line into the page cache front to back
//   and can stop between two pages, so what stays is a prefix of the line. The line feed,
//   its last byte, is missing.
// - A power cut before the fsync returned: the file can come back at its old length, at the
//   new length with the line whole, or at the new length with blocks that never reached the
//   disk, which read as NUL bytes; the line feed may then be there or not.
// Either way it is the last line, and it is one the system never acknowledged. So a last line
// without its line feed, or holding a NUL byte (which no encoded record contains), is a torn
// write: readers ignore it (wholeLinesLength), the trash journal's hash chain is verified
// without it, and the next append first cuts the file back to the end of the last whole line,
// so nothing ever continues a torn line. The user sees the state of the last acknowledged
// record, which is what was shown as done. Damage, by contrast, is anything else: a line that
// is not a record but is followed by further lines, or a record edited, missing or swapped;
// that is refused as a damaged file.
void durableAppendLine(const QString& path, const QByteArray& line, FileOps& ops = FileOps::system(), mode_t mode = 0600);

// The length of `data` up to and including its last whole line: without a torn last write
// (bytes after the last line feed, or a last line holding a NUL byte).
qsizetype wholeLinesLength(QByteArrayView data);

// Temporary file in the same folder (".<name>.<random>.tmp"), fsync, rename over `path`, fsync
// the folder. Readers see the old or the new content, never a mixture; on failure the temporary
// file is removed and the error names `path`. A symbolic link at `path` is replaced, not followed.
void atomicReplace(const QString& path, const QByteArray& data, FileOps& ops = FileOps::system(), mode_t mode = 0600);

// atomicReplace for a file that must not exist yet: the content appears under `path` whole
// or not at all (a crash or a full disk never leaves a truncated document behind for a
// reader to misread), and an existing file or link at `path` is never replaced (EEXIST).
void atomicCreate(const QString& path, const QByteArray& data, FileOps& ops = FileOps::system(), mode_t mode = 0600);

// Writes all bytes, retrying short writes and EINTR; throws on any other failure.
void writeAll(int fd, const char* data, qint64 size, const QString& pathForErrors, FileOps& ops = FileOps::system());

void flushFile(const QString& path, FileOps& ops = FileOps::system());
void flushDirectory(const QString& directory, FileOps& ops = FileOps::system());

// open(O_CREAT|O_EXCL|O_NOFOLLOW|O_CLOEXEC) with `flags` added (O_WRONLY by default).
// Fails with EEXIST when anything, a symbolic link included, already has the name.
UniqueFd createExclusive(const QString& path, FileOps& ops = FileOps::system(), int flags = 0, mode_t mode = 0600);

// Moves `from` to `to` only if nothing exists at `to`: renameat2(RENAME_NOREPLACE); where the
// file system answers EINVAL, link + unlink; where it has no hard links either (FAT, exFAT,
// NTFS over FUSE), the name is reserved by an exclusively created empty file and the rename
// replaces that reservation only after checking it is still the one created (same device and
// inode, size 0). Never a plain rename onto anything else. The one function for every
// exclusive rename in Kestrava. Throws FileSystemError (EEXIST when the target exists); a
// failure leaves no reservation behind. Does not flush directories. A process killed between
// reservation and rename leaves an empty file under the target name, marked (see
// isMarkedReservation) where the file system keeps modification times.
void renameExclusive(const QString& from, const QString& to, FileOps& ops = FileOps::system());

// Whether `path` is an empty file left by a process that died between reserving a name for
// renameExclusive and renaming onto it. A live process holds a reservation for microseconds,
// so an empty regular file that stays empty and in place for `graceMs` is taken as abandoned.
// For files that are never legitimately empty, such as lock files.
bool isAbandonedReservation(const QString& path, FileOps& ops = FileOps::system(), int graceMs = 1500);

// Whether `path` is an empty file carrying the mark renameExclusive gives its reservations
// (a modification time nothing else gives an empty file). Only a run that holds the lock of
// the folder, so that no live rename of its own can be under way there, may take such a file
// for an abandoned reservation and remove it.
bool isMarkedReservation(const QString& path, FileOps& ops = FileOps::system());

// Whole file into memory; throws FileSystemError. Refuses files larger than `maxBytes`.
QByteArray readWholeFile(const QString& path, qint64 maxBytes = qint64(1) << 32, FileOps& ops = FileOps::system());

// Creates the folder and missing parents (mode 0700 for new ones); throws FileSystemError.
void ensureDirectory(const QString& path, FileOps& ops = FileOps::system());

} // namespace kestrava
