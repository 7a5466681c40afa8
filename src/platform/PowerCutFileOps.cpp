#include "PowerCutFileOps.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrava {

namespace {

QByteArray parentOf(const QByteArray& path)
{
    const qsizetype slash = path.lastIndexOf('/');
    if (slash < 0)
        return ".";
    return slash == 0 ? QByteArray("/") : path.left(slash);
}

bool exists(const QByteArray& path, struct stat* info = nullptr)
{
    struct stat ignored {};
    return ::lstat(path.constData(), info ? info : &ignored) == 0;
}

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

PowerCutFileOps::PowerCutFileOps(QString parkingFolder) : parkingFolder_(std::move(parkingFolder))
{
    QDir().mkpath(parkingFolder_);
}

void PowerCutFileOps::cutBeforeStep(int step)
{
    QMutexLocker lock(&mutex_);
    cutAt_ = step > 0 ? steps_ + step : 0;
}

bool PowerCutFileOps::step()
{
    QMutexLocker lock(&mutex_);
    if (dead_) {
        errno = EIO;
        return false;
    }
    ++steps_;
    if (cutAt_ > 0 && steps_ == cutAt_) {
        dead_ = true;
        throw PowerCut();
    }
    return true;
}

std::optional<PowerCutFileOps::Inode> PowerCutFileOps::folderOf(const QByteArray& path) const
{
    struct stat info {};
    if (!exists(parentOf(path), &info))
        return std::nullopt;
    return Inode{quint64(info.st_dev), quint64(info.st_ino)};
}

void PowerCutFileOps::rememberContent(const QByteArray& path)
{
    struct stat info {};
    if (!exists(path, &info) || !S_ISREG(info.st_mode))
        return;
    const Inode inode{quint64(info.st_dev), quint64(info.st_ino)};
    auto it = contents_.find(inode);
    if (it == contents_.end())
        contents_.insert(inode, Content{contentOf(QFile::decodeName(path)), path});
    else
        it->path = path;
}

QByteArray PowerCutFileOps::park(const QByteArray& path)
{
    const QByteArray parked = QFile::encodeName(parkingFolder_) + '/' + QByteArray::number(++parkedCount_);
    if (::rename(path.constData(), parked.constData()) != 0)
        return {};
    followRename(path, parked);
    return parked;
}

void PowerCutFileOps::followRename(const QByteArray& from, const QByteArray& to)
{
    for (Content& content : contents_)
        if (content.path == from)
            content.path = to;
}

int PowerCutFileOps::open(const QByteArray& path, int flags, mode_t mode)
{
    QMutexLocker lock(&mutex_);
    const bool writes = (flags & O_ACCMODE) != O_RDONLY || (flags & O_TRUNC);
    if (dead_ && (writes || (flags & O_CREAT))) {
        errno = EIO;
        return -1;
    }
    const bool existed = exists(path);
    if ((flags & O_CREAT) && !step())
        return -1;
    if (existed && writes)
        rememberContent(path);
    const int fd = FileOps::open(path, flags, mode);
    if (fd < 0)
        return fd;
    openPaths_.insert(fd, path);
    if (!existed && (flags & O_CREAT)) {
        if (const auto folder = folderOf(path))
            changes_.append({NameChange::created, *folder, path, {}, {}, false});
        struct stat info {};
        if (::fstat(fd, &info) == 0)
            contents_.insert(Inode{quint64(info.st_dev), quint64(info.st_ino)}, Content{{}, path});
    }
    return fd;
}

ssize_t PowerCutFileOps::write(int fd, const void* buffer, size_t count)
{
    QMutexLocker lock(&mutex_);
    if (!step())
        return -1;
    return FileOps::write(fd, buffer, count);
}

int PowerCutFileOps::ftruncate(int fd, off_t length)
{
    QMutexLocker lock(&mutex_);
    if (!step())
        return -1;
    return FileOps::ftruncate(fd, length);
}

int PowerCutFileOps::fsync(int fd)
{
    QMutexLocker lock(&mutex_);
    if (!step())
        return -1;
    const int result = FileOps::fsync(fd);
    if (result != 0)
        return result;
    struct stat info {};
    if (::fstat(fd, &info) != 0)
        return result;
    const Inode inode{quint64(info.st_dev), quint64(info.st_ino)};
    if (S_ISDIR(info.st_mode)) {
        changes_.erase(std::remove_if(changes_.begin(), changes_.end(), [&](const NameChange& change) { return change.folder == inode; }),
                       changes_.end());
    } else if (auto it = contents_.find(inode); it != contents_.end()) {
        it->flushed = contentOf(QStringLiteral("/proc/self/fd/%1").arg(fd));
    }
    return result;
}

int PowerCutFileOps::close(int fd)
{
    QMutexLocker lock(&mutex_);
    openPaths_.remove(fd);
    return FileOps::close(fd);
}

int PowerCutFileOps::rename(const QByteArray& from, const QByteArray& to)
{
    QMutexLocker lock(&mutex_);
    if (!step())
        return -1;
    if (!exists(from)) {
        errno = ENOENT;
        return -1;
    }
    struct stat replaced {};
    QByteArray parked;
    if (exists(to, &replaced)) {
        if (S_ISDIR(replaced.st_mode))
            return FileOps::rename(from, to); // folders are never replaced by Kestrava
        parked = park(to);
    }
    if (::rename(from.constData(), to.constData()) != 0) {
        const int error = errno;
        if (!parked.isEmpty())
            ::rename(parked.constData(), to.constData());
        errno = error;
        return -1;
    }
    followRename(from, to);
    if (const auto folder = folderOf(to))
        changes_.append({NameChange::renamed, *folder, to, from, parked, false});
    return 0;
}

int PowerCutFileOps::renameNoReplace(const QByteArray& from, const QByteArray& to)
{
    QMutexLocker lock(&mutex_);
    if (!step())
        return -1;
    const int result = FileOps::renameNoReplace(from, to);
    if (result == 0) {
        followRename(from, to);
        if (const auto folder = folderOf(to))
            changes_.append({NameChange::renamed, *folder, to, from, {}, false});
    }
    return result;
}

int PowerCutFileOps::link(const QByteArray& from, const QByteArray& to)
{
    QMutexLocker lock(&mutex_);
    if (!step())
        return -1;
    const int result = FileOps::link(from, to);
    if (result == 0)
        if (const auto folder = folderOf(to))
            changes_.append({NameChange::created, *folder, to, {}, {}, false});
    return result;
}

int PowerCutFileOps::unlink(const QByteArray& path)
{
    QMutexLocker lock(&mutex_);
    if (!step())
        return -1;
    struct stat info {};
    if (!exists(path, &info))
        return FileOps::unlink(path); // the system's own error
    if (S_ISDIR(info.st_mode)) {
        errno = EISDIR;
        return -1;
    }
    const auto folder = folderOf(path);
    const QByteArray parked = park(path);
    if (parked.isEmpty())
        return -1;
    if (folder)
        changes_.append({NameChange::removed, *folder, path, {}, parked, false});
    return 0;
}

int PowerCutFileOps::mkdir(const QByteArray& path, mode_t mode)
{
    QMutexLocker lock(&mutex_);
    if (!step())
        return -1;
    const int result = FileOps::mkdir(path, mode);
    if (result == 0)
        if (const auto folder = folderOf(path))
            changes_.append({NameChange::created, *folder, path, {}, {}, true});
    return result;
}

void PowerCutFileOps::powerCut(AppendLoss appendLoss)
{
    QMutexLocker lock(&mutex_);
    // Contents first, where the files stand now; the names then carry them back.
    for (auto it = contents_.begin(); it != contents_.end(); ++it) {
        struct stat info {};
        if (!exists(it->path, &info) || quint64(info.st_dev) != it.key().device || quint64(info.st_ino) != it.key().number)
            continue;
        const QByteArray now = contentOf(QFile::decodeName(it->path));
        if (appendLoss != AppendLoss::dropped && now.size() > it->flushed.size() && now.startsWith(it->flushed)) {
            const qsizetype appended = now.size() - it->flushed.size();
            it->flushed += appendLoss == AppendLoss::torn ? now.mid(it->flushed.size(), appended / 2) : QByteArray(appended, '\0');
        }
        const int fd = ::open(it->path.constData(), O_WRONLY | O_TRUNC | O_NOFOLLOW | O_CLOEXEC);
        if (fd < 0)
            continue;
        qint64 written = 0;
        while (written < it->flushed.size()) {
            const ssize_t n = ::write(fd, it->flushed.constData() + written, size_t(it->flushed.size() - written));
            if (n <= 0)
                break;
            written += n;
        }
        ::close(fd);
    }
    for (auto change = changes_.crbegin(); change != changes_.crend(); ++change) {
        switch (change->kind) {
        case NameChange::created:
            if (change->isFolder)
                QDir(QFile::decodeName(change->path)).removeRecursively();
            else
                ::unlink(change->path.constData());
            break;
        case NameChange::removed:
            ::rename(change->parked.constData(), change->path.constData());
            break;
        case NameChange::renamed:
            ::rename(change->path.constData(), change->from.constData());
            if (!change->parked.isEmpty())
                ::rename(change->parked.constData(), change->path.constData());
            break;
        }
    }
    changes_.clear();
    contents_.clear();
    openPaths_.clear();
    dead_ = false;
    steps_ = 0;
    cutAt_ = 0;
}

} // namespace kestrava
