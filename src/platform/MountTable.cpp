#include "MountTable.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSet>

#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace kestrava {

namespace {

// mountinfo writes space, tab, newline and backslash as three-digit octal escapes.
QString unescapeMountField(const QByteArray& field)
{
    QByteArray out;
    out.reserve(field.size());
    for (qsizetype i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + 3 < field.size()) {
            bool ok = false;
            const int value = field.mid(i + 1, 3).toInt(&ok, 8);
            if (ok && value >= 0 && value < 256) {
                out.append(char(value));
                i += 3;
                continue;
            }
        }
        out.append(field[i]);
    }
    return QFile::decodeName(out);
}

bool contains(const QString& mountPoint, const QString& path)
{
    if (mountPoint == QLatin1String("/"))
        return path.startsWith(QLatin1Char('/'));
    return path == mountPoint || (path.startsWith(mountPoint) && path.at(mountPoint.size()) == QLatin1Char('/'));
}

QByteArray readSmallFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return file.read(4096).trimmed();
}

QString sysfsDeviceFolder(dev_t device)
{
    return QFileInfo(QStringLiteral("/sys/dev/block/%1:%2").arg(major(device)).arg(minor(device))).canonicalFilePath();
}

bool isRemovableFolder(const QString& folder, int depth)
{
    if (folder.isEmpty() || depth > 4)
        return false;
    if (readSmallFile(folder + QLatin1String("/removable")) == "1")
        return true;
    // A partition's own folder has no meaningful flag; its disk is the folder above.
    if (QFileInfo::exists(folder + QLatin1String("/partition"))
        && readSmallFile(QFileInfo(folder).path() + QLatin1String("/removable")) == "1")
        return true;
    // USB SSDs and card readers often claim removable = 0: the bus tells the truth.
    static const QRegularExpression bus(QStringLiteral("/(usb\\d|mmc\\d|mmc_host|firewire|fw\\d)"));
    if (bus.match(folder).hasMatch())
        return true;
    // Device-mapper and md devices (LUKS, LVM) sit on top of other block devices.
    const QDir slaves(folder + QLatin1String("/slaves"));
    for (const QString& slave : slaves.entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::System)) {
        if (isRemovableFolder(QFileInfo(slaves.filePath(slave)).canonicalFilePath(), depth + 1))
            return true;
    }
    return false;
}

} // namespace

std::optional<QString> deviceLinkName(const QString& folder, dev_t blockDevice)
{
    const QDir links(folder);
    for (const QString& name : links.entryList(QDir::System | QDir::Files | QDir::NoDotAndDotDot)) {
        struct stat info {};
        if (::stat(QFile::encodeName(links.filePath(name)).constData(), &info) == 0 && S_ISBLK(info.st_mode)
            && info.st_rdev == blockDevice)
            return name;
    }
    return std::nullopt;
}

QString decodeUdevName(const QByteArray& name)
{
    QByteArray out;
    out.reserve(name.size());
    for (qsizetype i = 0; i < name.size(); ++i) {
        if (name[i] == '\\' && i + 3 < name.size() && name[i + 1] == 'x') {
            bool ok = false;
            const int value = name.mid(i + 2, 2).toInt(&ok, 16);
            if (ok) {
                out.append(char(value));
                i += 3;
                continue;
            }
        }
        out.append(name[i]);
    }
    return QString::fromUtf8(out);
}

QList<MountEntry> parseMountInfo(const QByteArray& text)
{
    QList<MountEntry> mounts;
    for (const QByteArray& line : text.split('\n')) {
        const QList<QByteArray> fields = line.split(' ');
        // id parent major:minor root mountpoint options [optional...] - fstype source superoptions
        const qsizetype separator = fields.indexOf(QByteArray("-"), 6);
        if (fields.size() < 7 || separator < 0 || separator + 2 >= fields.size())
            continue;
        MountEntry entry;
        bool ok = false;
        entry.mountId = fields[0].toULongLong(&ok);
        if (!ok)
            continue;
        const QList<QByteArray> numbers = fields[2].split(':');
        if (numbers.size() != 2)
            continue;
        bool majorOk = false;
        bool minorOk = false;
        entry.device = makedev(numbers[0].toUInt(&majorOk), numbers[1].toUInt(&minorOk));
        if (!majorOk || !minorOk)
            continue;
        entry.mountPoint = unescapeMountField(fields[4]);
        entry.fsType = unescapeMountField(fields[separator + 1]);
        entry.source = unescapeMountField(fields[separator + 2]);
        mounts.append(entry);
    }
    return mounts;
}

QList<MountEntry> readMountTable()
{
    QFile file(QStringLiteral("/proc/self/mountinfo"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    // A sequential /proc file: size() says 0, so read to the end.
    return parseMountInfo(file.readAll());
}

const MountEntry* findMount(const QList<MountEntry>& mounts, const QString& canonicalPath, dev_t device,
                            std::optional<quint64> mountId)
{
    if (mountId) {
        for (const MountEntry& mount : mounts) {
            if (mount.mountId == *mountId)
                return &mount;
        }
    }
    const MountEntry* best = nullptr;
    bool bestMatchesDevice = false;
    for (const MountEntry& mount : mounts) {
        if (!contains(mount.mountPoint, canonicalPath))
            continue;
        const bool matchesDevice = mount.device == device;
        if (best && bestMatchesDevice && !matchesDevice)
            continue;
        // Later lines are mounted on top of earlier ones at the same place, hence >=.
        if (!best || (matchesDevice && !bestMatchesDevice) || mount.mountPoint.size() >= best->mountPoint.size()) {
            best = &mount;
            bestMatchesDevice = matchesDevice;
        }
    }
    return best;
}

bool isNetworkFileSystemType(const QString& fsType)
{
    static const QSet<QString> network = {
        QStringLiteral("nfs"),       QStringLiteral("nfs4"),        QStringLiteral("cifs"),
        QStringLiteral("smb3"),      QStringLiteral("smbfs"),       QStringLiteral("ceph"),
        QStringLiteral("glusterfs"), QStringLiteral("9p"),          QStringLiteral("afs"),
        QStringLiteral("davfs"),     QStringLiteral("davfs2"),      QStringLiteral("ncpfs"),
        QStringLiteral("coda"),      QStringLiteral("lustre"),      QStringLiteral("gpfs"),
        QStringLiteral("beegfs"),    QStringLiteral("orangefs"),    QStringLiteral("sshfs"),
        QStringLiteral("rclone"),    QStringLiteral("s3fs"),        QStringLiteral("gvfsd-fuse"),
        QStringLiteral("curlftpfs"), QStringLiteral("moosefs"),
        QStringLiteral("virtiofs"),
    };
    if (network.contains(fsType))
        return true;
    // FUSE mounts name their helper after the dot: fuse.sshfs, fuse.rclone, fuse.davfs…
    if (fsType.startsWith(QLatin1String("fuse.")) || fsType.startsWith(QLatin1String("fuseblk.")))
        return network.contains(fsType.section(QLatin1Char('.'), 1));
    return false;
}

std::optional<dev_t> blockDeviceOf(const MountEntry& mount)
{
    if (major(mount.device) != 0)
        return mount.device;
    if (mount.source.startsWith(QLatin1String("/dev/"))) {
        struct stat info {};
        if (::stat(QFile::encodeName(mount.source).constData(), &info) == 0 && S_ISBLK(info.st_mode))
            return info.st_rdev;
    }
    return std::nullopt;
}

bool isRemovableSysfsFolder(const QString& folder)
{
    return isRemovableFolder(folder, 0);
}

bool isRemovableBlockDevice(dev_t blockDevice)
{
    return isRemovableSysfsFolder(sysfsDeviceFolder(blockDevice));
}

} // namespace kestrava
