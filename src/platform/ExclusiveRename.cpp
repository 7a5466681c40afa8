#include "DurableFile.h"
#include "DurableFileDetail.h"

#include <QElapsedTimer>
#include <QFile>
#include <QThread>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

namespace kestrava {

namespace {

using Op = FileSystemError::Operation;

using detail::encoded;
using detail::fail;

// Link errors that say "this file system has no hard links" rather than "not here, not now".
bool hasNoHardLinks(int error)
{
    return error == EPERM || error == ENOSYS || error == ENOTSUP || error == EOPNOTSUPP || error == EMLINK;
}

// The mark a reservation carries: a modification time no camera or person gives an empty file
// (early January 1980, at the start of the FAT calendar but past its first day, where cards
// with an unset clock date their files). FAT keeps local time in two-second steps, and the
// FUSE drivers convert with the time zone of the moment, so the check allows a day and more
// either way.
constexpr time_t reservationMark = 315792000; // 1980-01-03 12:00:00 UTC
constexpr time_t reservationMarkTolerance = 26 * 3600;

bool isStillReservation(const QByteArray& target, const struct stat& reserved, FileOps& ops)
{
    struct stat now {};
    return ops.lstat(target, &now) == 0 && S_ISREG(now.st_mode) && now.st_size == 0
        && now.st_dev == reserved.st_dev && now.st_ino == reserved.st_ino;
}

// The name is taken by an exclusively created empty file, which nobody else can have made,
// and the plain rename may then replace only that file. Between the check and the rename
// the name is guarded by the exclusive creation, not by the kernel: a process that ignores
// the convention and deletes or replaces foreign files there could slip in. Everything
// Kestrava writes to such a folder happens under its run's lock.
void renameOntoReservation(const QString& from, const QString& to, FileOps& ops)
{
    const QByteArray source = encoded(from);
    const QByteArray target = encoded(to);
    struct stat reserved {};
    const int fd = ops.open(target, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0)
        fail(Op::rename, from, errno);
    {
        UniqueFd reservation(fd, ops);
        if (ops.fstat(reservation.get(), &reserved) != 0) {
            const int error = errno;
            reservation = UniqueFd();
            ops.unlink(target);
            fail(Op::rename, from, error);
        }
        // Where the file system keeps no times the reservation goes unmarked; a run killed
        // before its rename then leaves a file nobody can prove was Kestrava's, and it stays.
        const timespec marked[2] = {{reservationMark, 0}, {reservationMark, 0}};
        ::futimens(reservation.get(), marked);
    }
    if (!isStillReservation(target, reserved, ops))
        fail(Op::rename, from, EEXIST);
    if (ops.rename(source, target) != 0) {
        const int renameError = errno;
        if (isStillReservation(target, reserved, ops))
            ops.unlink(target);
        fail(Op::rename, from, renameError);
    }
}

} // namespace

void renameExclusive(const QString& from, const QString& to, FileOps& ops)
{
    const QByteArray source = encoded(from);
    const QByteArray target = encoded(to);
    if (ops.renameNoReplace(source, target) == 0)
        return;
    const int renameError = errno;
    // EINVAL: the file system has no RENAME_NOREPLACE (FAT over FUSE, NFS, 9p); ENOSYS: an
    // old kernel or a sandbox without renameat2. A hard link fails with EEXIST just as
    // safely, so link + unlink keeps the promise of never replacing anything.
    if (renameError != EINVAL && renameError != ENOSYS)
        fail(Op::rename, from, renameError);
    if (ops.link(source, target) != 0) {
        const int linkError = errno;
        // FAT, exFAT and NTFS over FUSE have neither.
        if (!hasNoHardLinks(linkError))
            fail(Op::rename, from, linkError);
        renameOntoReservation(from, to, ops);
        return;
    }
    if (ops.unlink(source) != 0) {
        const int unlinkError = errno;
        // Undo the second name so the caller does not find the file twice.
        ops.unlink(target);
        fail(Op::rename, from, unlinkError);
    }
}

bool isAbandonedReservation(const QString& path, FileOps& ops, int graceMs)
{
    const QByteArray name = encoded(path);
    struct stat first {};
    if (ops.lstat(name, &first) != 0 || !S_ISREG(first.st_mode) || first.st_size != 0)
        return false;
    QElapsedTimer waited;
    waited.start();
    while (waited.elapsed() < graceMs) {
        QThread::msleep(20);
        if (!isStillReservation(name, first, ops))
            return false;
    }
    return true;
}

bool isMarkedReservation(const QString& path, FileOps& ops)
{
    struct stat found {};
    return ops.lstat(encoded(path), &found) == 0 && S_ISREG(found.st_mode) && found.st_size == 0
        && found.st_mtim.tv_sec >= reservationMark - reservationMarkTolerance
        && found.st_mtim.tv_sec <= reservationMark + reservationMarkTolerance;
}

} // namespace kestrava
