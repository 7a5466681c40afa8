#pragma once

// A FileOps for tests that simulates a power cut, which a SIGKILL cannot: the page cache
// survives a killed process, so only a lost flush shows what the flushes are for.
//
// Everything passes through to the real file system, while the changes that a power cut
// could still take back are remembered: a file's content since its last fsync, and every
// name created, removed or renamed in a folder since that folder's last fsync. powerCut()
// then takes them back (file contents return to their last flushed state, names to their
// last flushed folder state), as LevelDB's fault-injection environment drops unsynced data.
// With cutBeforeStep(n), the nth durable step instead throws PowerCut, and every later call
// fails with EIO and changes nothing, as if the machine had stopped there.
//
// Model and limits: the strictest reading of POSIX. A rename counts as done only once the
// target folder is flushed; a file's data only once the file is. Calls may come from several
// threads (the executor finishes a copy on a second one); they are taken one at a time.
// Removed and replaced files are parked under `parkingFolder` (on the same file system as
// the files under test) so that a cut can bring them back.

#include "FileOps.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QRecursiveMutex>
#include <QString>

#include <exception>
#include <optional>

namespace kestrava {

class PowerCutFileOps : public FileOps {
public:
    // Thrown at the step chosen by cutBeforeStep(): the machine stops here.
    struct PowerCut : std::exception {
        const char* what() const noexcept override { return "power cut"; }
    };

    explicit PowerCutFileOps(QString parkingFolder);

    // The nth durable step from now (1-based) throws PowerCut instead of happening; 0: never.
    void cutBeforeStep(int step);
    // Durable steps taken since construction or the last powerCut().
    int stepCount() const
    {
        QMutexLocker lock(&mutex_);
        return steps_;
    }
    // True from the cut on: every call fails with EIO.
    bool isPowerOut() const
    {
        QMutexLocker lock(&mutex_);
        return dead_;
    }
    // What a cut does to data appended to a file since its last flush: drops it all; keeps
    // the first half of it (a write that got part-way to the disk); or keeps its length with
    // NUL bytes (the size reached the disk, the blocks did not).
    enum class AppendLoss { dropped, torn, zeroed };
    // Takes back every change not yet flushed, and starts recording afresh.
    void powerCut(AppendLoss appendLoss = AppendLoss::dropped);

    int open(const QByteArray& path, int flags, mode_t mode = 0600) override;
    ssize_t write(int fd, const void* buffer, size_t count) override;
    int fsync(int fd) override;
    int close(int fd) override;
    int rename(const QByteArray& from, const QByteArray& to) override;
    int renameNoReplace(const QByteArray& from, const QByteArray& to) override;
    int link(const QByteArray& from, const QByteArray& to) override;
    int unlink(const QByteArray& path) override;
    int mkdir(const QByteArray& path, mode_t mode) override;
    int ftruncate(int fd, off_t length) override;

protected:
    // False (errno = EIO) once the power is out; counts the step and throws at the chosen one.
    bool step();

private:
    struct Inode {
        quint64 device = 0;
        quint64 number = 0;
        friend bool operator==(const Inode&, const Inode&) = default;
        friend size_t qHash(const Inode& key, size_t seed = 0) { return qHashMulti(seed, key.device, key.number); }
    };
    // One change to a folder's names, undone by a cut unless the folder was flushed since.
    struct NameChange {
        enum Kind { created, removed, renamed } kind;
        Inode folder;             // the folder whose flush makes it durable
        QByteArray path;          // created or removed name; the new name of a rename
        QByteArray from;          // a rename's old name
        QByteArray parked;        // where a removed or replaced file waits
        bool isFolder = false;
    };
    struct Content {
        QByteArray flushed;       // the content as of the last flush
        QByteArray path;          // where the file was last seen
    };

    void rememberContent(const QByteArray& path);
    QByteArray park(const QByteArray& path);
    void followRename(const QByteArray& from, const QByteArray& to);
    std::optional<Inode> folderOf(const QByteArray& path) const;

    mutable QRecursiveMutex mutex_;
    QString parkingFolder_;
    int steps_ = 0;
    int cutAt_ = 0;
    bool dead_ = false;
    int parkedCount_ = 0;
    QHash<int, QByteArray> openPaths_;
    QHash<Inode, Content> contents_;
    QList<NameChange> changes_;
};

} // namespace kestrava
