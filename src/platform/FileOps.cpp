#include "FileOps.h"

#include "DurableSteps.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#ifndef RENAME_NOREPLACE
#define RENAME_NOREPLACE (1 << 0)
#endif

namespace kestrava {

namespace {

// Calls that can be interrupted by a signal before doing anything are simply repeated.
// close() is deliberately not among them: on Linux the descriptor is gone even when close
// reports EINTR, and a retry could close a descriptor another thread just received.
template <class Call>
auto retryOnInterrupt(Call call)
{
    for (;;) {
        auto result = call();
        if (result >= 0 || errno != EINTR)
            return result;
    }
}

int renameat2NoReplace(const char* from, const char* to)
{
#if defined(__GLIBC__) && (__GLIBC__ > 2 || (__GLIBC__ == 2 && __GLIBC_MINOR__ >= 28))
    return ::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE);
#elif defined(SYS_renameat2)
    return int(::syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE));
#else
    (void)from;
    (void)to;
    errno = EINVAL;
    return -1;
#endif
}

class SystemFileOps final : public FileOps {
public:
    ssize_t copyRange(int in, int out, size_t count) override
    {
        return retryOnInterrupt([&] { return ::copy_file_range(in, nullptr, out, nullptr, count, 0); });
    }
};

} // namespace

int FileOps::open(const QByteArray& path, int flags, mode_t mode)
{
    if (flags & O_CREAT)
        testhooks::durableStep("create", path.constData());
    return retryOnInterrupt([&] { return ::open(path.constData(), flags | O_CLOEXEC, mode); });
}

ssize_t FileOps::read(int fd, void* buffer, size_t count)
{
    return retryOnInterrupt([&] { return ::read(fd, buffer, count); });
}

ssize_t FileOps::write(int fd, const void* buffer, size_t count)
{
    return retryOnInterrupt([&] { return ::write(fd, buffer, count); });
}

int FileOps::fsync(int fd)
{
    testhooks::durableStep("fsync", nullptr, fd);
    // An EINTR from fsync says nothing about whether the data reached the disk; the caller
    // must treat it as a failed flush, so it is not retried here.
    return ::fsync(fd);
}

int FileOps::close(int fd)
{
    return ::close(fd);
}

int FileOps::rename(const QByteArray& from, const QByteArray& to)
{
    testhooks::durableStep("rename", to.constData());
    return ::rename(from.constData(), to.constData());
}

int FileOps::renameNoReplace(const QByteArray& from, const QByteArray& to)
{
    testhooks::durableStep("renameNoReplace", to.constData());
    return renameat2NoReplace(from.constData(), to.constData());
}

int FileOps::link(const QByteArray& from, const QByteArray& to)
{
    testhooks::durableStep("link", to.constData());
    return ::link(from.constData(), to.constData());
}

int FileOps::unlink(const QByteArray& path)
{
    testhooks::durableStep("unlink", path.constData());
    return ::unlink(path.constData());
}

int FileOps::mkdir(const QByteArray& path, mode_t mode)
{
    testhooks::durableStep("mkdir", path.constData());
    return ::mkdir(path.constData(), mode);
}

int FileOps::lstat(const QByteArray& path, struct stat* info)
{
    return ::lstat(path.constData(), info);
}

int FileOps::fstat(int fd, struct stat* info)
{
    return ::fstat(fd, info);
}

int FileOps::ftruncate(int fd, off_t length)
{
    testhooks::durableStep("ftruncate", nullptr, fd);
    return retryOnInterrupt([&] { return ::ftruncate(fd, length); });
}

ssize_t FileOps::copyRange(int, int, size_t)
{
    errno = EOPNOTSUPP;
    return -1;
}

FileOps& FileOps::system()
{
    static SystemFileOps instance;
    return instance;
}

// ---- FaultInjectingFileOps ----

void FaultInjectingFileOps::failAt(Op op, int nthCall, int errorNumber, bool repeat)
{
    QMutexLocker lock(&mutex_);
    counts_[int(op)] = 0;
    rules_[int(op)] = Rule{nthCall, errorNumber, repeat};
}

void FaultInjectingFileOps::clearFaults()
{
    QMutexLocker lock(&mutex_);
    rules_.clear();
}

int FaultInjectingFileOps::callCount(Op op) const
{
    QMutexLocker lock(&mutex_);
    return counts_.value(int(op));
}

bool FaultInjectingFileOps::shouldFail(Op op)
{
    QMutexLocker lock(&mutex_);
    const int count = ++counts_[int(op)];
    const auto rule = rules_.constFind(int(op));
    if (rule == rules_.constEnd())
        return false;
    const bool fail = rule->repeat ? count >= rule->nth : count == rule->nth;
    if (fail)
        errno = rule->errorNumber;
    return fail;
}

int FaultInjectingFileOps::open(const QByteArray& path, int flags, mode_t mode)
{
    return shouldFail(Op::open) ? -1 : FileOps::open(path, flags, mode);
}

ssize_t FaultInjectingFileOps::read(int fd, void* buffer, size_t count)
{
    return shouldFail(Op::read) ? -1 : FileOps::read(fd, buffer, count);
}

ssize_t FaultInjectingFileOps::write(int fd, const void* buffer, size_t count)
{
    return shouldFail(Op::write) ? -1 : FileOps::write(fd, buffer, count);
}

int FaultInjectingFileOps::fsync(int fd)
{
    return shouldFail(Op::fsync) ? -1 : FileOps::fsync(fd);
}

int FaultInjectingFileOps::close(int fd)
{
    // A failing close still releases the descriptor, as the kernel does.
    if (shouldFail(Op::close)) {
        const int error = errno;
        FileOps::close(fd);
        errno = error;
        return -1;
    }
    return FileOps::close(fd);
}

int FaultInjectingFileOps::rename(const QByteArray& from, const QByteArray& to)
{
    return shouldFail(Op::rename) ? -1 : FileOps::rename(from, to);
}

int FaultInjectingFileOps::renameNoReplace(const QByteArray& from, const QByteArray& to)
{
    return shouldFail(Op::renameNoReplace) ? -1 : FileOps::renameNoReplace(from, to);
}

int FaultInjectingFileOps::link(const QByteArray& from, const QByteArray& to)
{
    return shouldFail(Op::link) ? -1 : FileOps::link(from, to);
}

int FaultInjectingFileOps::unlink(const QByteArray& path)
{
    return shouldFail(Op::unlink) ? -1 : FileOps::unlink(path);
}

int FaultInjectingFileOps::mkdir(const QByteArray& path, mode_t mode)
{
    return shouldFail(Op::mkdir) ? -1 : FileOps::mkdir(path, mode);
}

int FaultInjectingFileOps::lstat(const QByteArray& path, struct stat* info)
{
    return shouldFail(Op::lstat) ? -1 : FileOps::lstat(path, info);
}

int FaultInjectingFileOps::fstat(int fd, struct stat* info)
{
    return shouldFail(Op::fstat) ? -1 : FileOps::fstat(fd, info);
}

int FaultInjectingFileOps::ftruncate(int fd, off_t length)
{
    return shouldFail(Op::ftruncate) ? -1 : FileOps::ftruncate(fd, length);
}

} // namespace kestrava
