#pragma once

// The system calls Kestrava's durable files go through. Everything that must survive a crash
// or report a full disk uses a FileOps, so tests can make the Nth call of an operation fail
// with a chosen errno (FaultInjectingFileOps) without touching the real file system's rules.
// Every call returns like its POSIX namesake: -1 with errno set on failure.

#include <QByteArray>
#include <QMutex>
#include <QHash>
#include <sys/stat.h>
#include <sys/types.h>

namespace kestrava {

class FileOps {
public:
    enum class Op { open, read, write, fsync, close, rename, renameNoReplace, link, unlink, mkdir, lstat, fstat, ftruncate };

    virtual ~FileOps() = default;

    virtual int open(const QByteArray& path, int flags, mode_t mode = 0600);
    virtual ssize_t read(int fd, void* buffer, size_t count);
    virtual ssize_t write(int fd, const void* buffer, size_t count);
    virtual int fsync(int fd);
    virtual int close(int fd);
    virtual int rename(const QByteArray& from, const QByteArray& to);
    // renameat2(RENAME_NOREPLACE); EINVAL where the file system cannot do it.
    virtual int renameNoReplace(const QByteArray& from, const QByteArray& to);
    virtual int link(const QByteArray& from, const QByteArray& to);
    virtual int unlink(const QByteArray& path);
    virtual int mkdir(const QByteArray& path, mode_t mode);
    virtual int lstat(const QByteArray& path, struct stat* info);
    virtual int fstat(int fd, struct stat* info);
    virtual int ftruncate(int fd, off_t length);
    // Copies up to `count` bytes from `in` to `out`, each at its own file offset, without
    // passing them through the caller's memory. Fails with EOPNOTSUPP here, so that an
    // operations object watching read and write sees every byte; the system's operations copy
    // inside the kernel (copy_file_range) and fail with EXDEV, EOPNOTSUPP, ENOSYS or EINVAL
    // where the file systems cannot. The caller then reads and writes instead.
    virtual ssize_t copyRange(int in, int out, size_t count);

    // The real system calls, shared by the whole process.
    static FileOps& system();
};

// Passes every call through to the system, except that the Nth call (1-based, counted per
// operation from the moment the rule is set) of an operation fails with the given errno.
// A rule with `repeat` keeps failing every call from the Nth on.
class FaultInjectingFileOps : public FileOps {
public:
    void failAt(Op op, int nthCall, int errorNumber, bool repeat = false);
    void clearFaults();
    int callCount(Op op) const;

    int open(const QByteArray& path, int flags, mode_t mode = 0600) override;
    ssize_t read(int fd, void* buffer, size_t count) override;
    ssize_t write(int fd, const void* buffer, size_t count) override;
    int fsync(int fd) override;
    int close(int fd) override;
    int rename(const QByteArray& from, const QByteArray& to) override;
    int renameNoReplace(const QByteArray& from, const QByteArray& to) override;
    int link(const QByteArray& from, const QByteArray& to) override;
    int unlink(const QByteArray& path) override;
    int mkdir(const QByteArray& path, mode_t mode) override;
    int lstat(const QByteArray& path, struct stat* info) override;
    int fstat(int fd, struct stat* info) override;
    int ftruncate(int fd, off_t length) override;

private:
    // True when this call is to fail; errno is then set.
    bool shouldFail(Op op);

    struct Rule {
        int nth = 0;
        int errorNumber = 0;
        bool repeat = false;
    };
    mutable QMutex mutex_;
    QHash<int, int> counts_;
    QHash<int, Rule> rules_;
};

} // namespace kestrava
