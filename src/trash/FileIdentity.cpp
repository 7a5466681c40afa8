#include "TrashTransactionError.h"
#include "TrashTypes.h"

#include "platform/Sha256.h"
#include "platform/VolumeInfo.h"

#include <QFile>
#include <QFileInfo>
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

// Read afresh at every capture, never remembered per device number: a card or an LVM volume
// can come back under another number after a reboot or a reinsert, and another card can get
// the number this one had. Next to hashing the file, reading the mount table costs nothing.
std::optional<QString> volumeUuidOf(const QString& path)
{
    const auto facts = volumeFacts(path);
    return facts ? facts->uuid : std::nullopt;
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
    identity.volumeUUID = volumeUuidOf(path);
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
    if (inode != other.inode)
        return false;
    // Where both volumes are known by UUID, that (compared above) says "same volume"; the
    // device number, and the resource identifier built from it, may have changed meanwhile.
    if (volumeUUID && other.volumeUUID)
        return true;
    return device == other.device && agree(resourceIdentifier, other.resourceIdentifier);
}

bool FileIdentity::isOnVolumeOf(quint64 deviceNow, const QString& pathNow) const
{
    if (volumeUUID) {
        if (const auto uuidNow = volumeUuidOf(pathNow))
            return *uuidNow == *volumeUUID;
    }
    return deviceNow == device;
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
