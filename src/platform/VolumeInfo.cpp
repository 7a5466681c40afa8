#include "VolumeInfo.h"

#include "MountTable.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>

namespace kestrava {

namespace {

// The path itself when it exists, else its nearest existing ancestor, as an absolute path
// with symbolic links resolved (mount points are listed that way).
QString nearestExisting(const QString& path)
{
    QString current = QDir::cleanPath(QFileInfo(path.isEmpty() ? QStringLiteral(".") : path).absoluteFilePath());
    for (;;) {
        const QString canonical = QFileInfo(current).canonicalFilePath();
        if (!canonical.isEmpty())
            return canonical;
        const QString parent = QFileInfo(current).path();
        if (parent == current)
            return QString();
        current = parent;
    }
}

// Network file systems by their statfs magic: covers mounts whose mountinfo type is generic.
bool isNetworkMagic(__fsword_t type)
{
    switch (static_cast<unsigned long>(type)) {
    case 0x6969UL:     // NFS
    case 0x517BUL:     // SMB
    case 0xFF534D42UL: // CIFS
    case 0xFE534D42UL: // SMB2
    case 0x00C36400UL: // Ceph
    case 0x5346414FUL: // AFS
    case 0x01021997UL: // 9p
    case 0x73757245UL: // Coda
    case 0x564CUL:     // NCP
        return true;
    default:
        return false;
    }
}

QString lastComponent(const QString& mountPoint)
{
    if (mountPoint == QLatin1String("/"))
        return mountPoint;
    return QFileInfo(mountPoint).fileName();
}

} // namespace

std::optional<VolumeFacts> volumeFacts(const QString& path)
{
    QString existing = nearestExisting(path);
    if (existing.isEmpty())
        existing = QStringLiteral("/");
    const QByteArray name = QFile::encodeName(existing);

    dev_t device = 0;
    std::optional<quint64> mountId;
    struct statx info {};
    if (::statx(AT_FDCWD, name.constData(), 0, STATX_BASIC_STATS | STATX_MNT_ID, &info) == 0) {
        device = makedev(info.stx_dev_major, info.stx_dev_minor);
        if (info.stx_mask & STATX_MNT_ID)
            mountId = info.stx_mnt_id;
    } else {
        // Kernels before 4.11, and sandboxes that filter statx, still answer stat.
        struct stat plain {};
        if (::stat(name.constData(), &plain) != 0)
            return std::nullopt;
        device = plain.st_dev;
    }

    VolumeFacts facts;
    facts.deviceId = quint64(device);

    const QList<MountEntry> mounts = readMountTable();
    const MountEntry* mount = findMount(mounts, existing, device, mountId);

    std::optional<QString> label;
    if (mount) {
        facts.mountPoint = mount->mountPoint;
        facts.format = mount->fsType;
        facts.isLocal = !isNetworkFileSystemType(mount->fsType);
        const std::optional<dev_t> block = blockDeviceOf(*mount);
        if (block) {
            facts.uuid = fileSystemUuid(*block);
            label = fileSystemLabel(*block);
            facts.isRemovable = isRemovableBlockDevice(*block);
        }
    } else {
        facts.mountPoint = QStringLiteral("/");
    }

    struct statfs fsInfo {};
    if (::statfs(name.constData(), &fsInfo) == 0 && isNetworkMagic(fsInfo.f_type))
        facts.isLocal = false;

    struct statvfs space {};
    if (::statvfs(name.constData(), &space) == 0) {
        facts.isReadOnly = (space.f_flag & ST_RDONLY) != 0;
        facts.availableBytes = qint64(space.f_bavail) * qint64(space.f_frsize);
    }

    facts.name = label && !label->isEmpty() ? *label : lastComponent(facts.mountPoint);
    facts.identity = (facts.uuid ? *facts.uuid : QStringLiteral("dev:%1").arg(facts.deviceId))
                     + QLatin1Char('@') + facts.mountPoint;
    return facts;
}

bool sameVolume(const QString& a, const QString& b)
{
    struct stat first {};
    struct stat second {};
    if (::stat(QFile::encodeName(a).constData(), &first) != 0)
        return false;
    if (::stat(QFile::encodeName(b).constData(), &second) != 0)
        return false;
    return first.st_dev == second.st_dev;
}

} // namespace kestrava
