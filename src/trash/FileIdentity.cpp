#include "TrashTransactionError.h"
#include "TrashTypes.h"

#include "platform/Sha256.h"
#include "platform/VolumeInfo.h"

#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QMutex>
#include <cerrno>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace kestrava {

namespace {

constexpr size_t hashChunkBytes = 4 * 1024 * 1024;

// Mount facts are read once per device: every capture would otherwise parse the mount
// table again, and a file's volume cannot change while it keeps its device number.
std::optional<QString> volumeUuidFor(dev_t device, const QString& path)
{
    static QMutex mutex;
    static QHash<quint64, std::optional<QString>> cache;
    {
        QMutexLocker lock(&mutex);
        auto it = cache.constFind(quint64(device));
        if (it != cache.constEnd())
            return *it;
    }
    std::optional<QString> uuid;
    if (auto facts = volumeFacts(path))
        uuid = facts->uuid;
    QMutexLocker lock(&mutex);
    cache.insert(quint64(device), uuid);
    return uuid;
}

struct FdCloser {
    int fd;
    ~FdCloser() { if (fd >= 0) ::close(fd); }
};

} // namespace

FileIdentity FileIdentity::capture(const QString& rawPath, bool requireSingleLink)
{
    const QString path = FileUrl::fromLocalPath(rawPath).path();
    const QString name = QFileInfo(path).fileName();
    const QByteArray native = QFile::encodeName(path);

    struct stat info {};
    if (::lstat(native.constData(), &info) != 0)
        throw TrashTransactionError(TrashTransactionError::Kind::fileUnavailable, name);
    if (!S_ISREG(info.st_mode))
        throw TrashTransactionError(TrashTransactionError::Kind::unsupportedItem, name);
    if (requireSingleLink && info.st_nlink != 1)
        throw TrashTransactionError(TrashTransactionError::Kind::multipleHardLinks, name);

    // The content is read through a descriptor opened without following links and checked to
    // be the very inode lstat saw: a symbolic link swapped in between the two calls must not
    // make us hash (and later vouch for) some other file.
    FdCloser file{::open(native.constData(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK)};
    if (file.fd < 0) {
        if (errno == ELOOP)
            throw TrashTransactionError(TrashTransactionError::Kind::unsupportedItem, name);
        throw TrashTransactionError(TrashTransactionError::Kind::fileUnavailable, name);
    }
    struct stat opened {};
    if (::fstat(file.fd, &opened) != 0 || opened.st_dev != info.st_dev || opened.st_ino != info.st_ino)
        throw TrashTransactionError(TrashTransactionError::Kind::fileUnavailable, name);

    FileIdentity identity;
    identity.path = path;
    identity.volumeUUID = volumeUuidFor(info.st_dev, path);
    identity.resourceIdentifier = QStringLiteral("%1:%2").arg(quint64(info.st_dev)).arg(quint64(info.st_ino));
    long generation = 0;
    if (::ioctl(file.fd, FS_IOC_GETVERSION, &generation) == 0)
        identity.generationIdentifier = QString::number(generation);
    identity.device = quint64(info.st_dev);
    identity.inode = quint64(info.st_ino);
    identity.linkCount = quint64(info.st_nlink);
    identity.size = qint64(info.st_size);
    identity.modificationSeconds = qint64(info.st_mtim.tv_sec);
    identity.modificationNanoseconds = qint64(info.st_mtim.tv_nsec);
    identity.statusChangeSeconds = qint64(info.st_ctim.tv_sec);
    identity.statusChangeNanoseconds = qint64(info.st_ctim.tv_nsec);

    ::posix_fadvise(file.fd, 0, 0, POSIX_FADV_SEQUENTIAL);
    std::vector<char> buffer(hashChunkBytes);
    Sha256 hash;
    for (;;) {
        const ssize_t got = ::read(file.fd, buffer.data(), buffer.size());
        if (got < 0) {
            if (errno == EINTR)
                continue;
            throw TrashTransactionError(TrashTransactionError::Kind::fileUnavailable, name);
        }
        if (got == 0)
            break;
        hash.update(buffer.data(), size_t(got));
    }
    identity.sha256 = Sha256::hex(hash.finalize());
    return identity;
}

bool FileIdentity::matches(const FileIdentity& other, bool afterRestart) const
{
    if (size != other.size || modificationSeconds != other.modificationSeconds
        || modificationNanoseconds != other.modificationNanoseconds
        || statusChangeSeconds != other.statusChangeSeconds
        || statusChangeNanoseconds != other.statusChangeNanoseconds)
        return false;
    if (sha256 != other.sha256)
        return false;
    const auto agree = [](const std::optional<QString>& a, const std::optional<QString>& b) {
        return !a || !b || *a == *b;
    };
    if (!agree(volumeUUID, other.volumeUUID) || !agree(documentIdentifier, other.documentIdentifier)
        || !agree(generationIdentifier, other.generationIdentifier))
        return false;
    if (afterRestart)
        return true;
    if (device != other.device || inode != other.inode)
        return false;
    return agree(resourceIdentifier, other.resourceIdentifier);
}

namespace FileIntegrity {

QString sha256Hex(const QString& path)
{
    return Sha256::hex(sha256OfFile(path));
}

QString sha256Hex(QByteArrayView data)
{
    return Sha256::hex(Sha256::hash(data));
}

} // namespace FileIntegrity

} // namespace kestrava
