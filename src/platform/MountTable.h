#pragma once

// The mount table and the block devices behind it, as the kernel describes them in
// /proc/self/mountinfo, /dev/disk/by-uuid and /sys/dev/block. Read fresh on each call.

#include <QList>
#include <QString>
#include <optional>
#include <sys/types.h>

namespace kestrava {

struct MountEntry {
    quint64 mountId = 0;
    dev_t device = 0;          // major:minor as mountinfo lists it
    QString mountPoint;        // unescaped
    QString fsType;            // e.g. "ext4", "fuse.sshfs"
    QString source;            // e.g. "/dev/sda1", "server:/export"
};

QList<MountEntry> readMountTable();
// Parses the text of a mountinfo file; lines that do not parse are skipped.
QList<MountEntry> parseMountInfo(const QByteArray& text);

// The mount with `mountId` when known; otherwise the mount with the longest mount point
// containing `canonicalPath`, preferring those whose device equals `device`.
const MountEntry* findMount(const QList<MountEntry>& mounts, const QString& canonicalPath, dev_t device,
                            std::optional<quint64> mountId);

bool isNetworkFileSystemType(const QString& fsType);
// The block device a mount lives on, if any (btrfs lists an anonymous device, so the source is asked too).
std::optional<dev_t> blockDeviceOf(const MountEntry& mount);
// The name of the link in `folder` (/dev/disk/by-uuid, /dev/disk/by-label) that resolves to
// the block device `blockDevice`; absent when none does.
std::optional<QString> deviceLinkName(const QString& folder, dev_t blockDevice);
// Looked up among the /dev/disk/by-uuid links, else read from the superblock where the
// device may be opened; absent when neither tells.
std::optional<QString> fileSystemUuid(dev_t blockDevice);
// The label udev lists in /dev/disk/by-label for `blockDevice`, else the superblock's; absent when none.
std::optional<QString> fileSystemLabel(dev_t blockDevice);
// udev writes characters that are unsafe in a file name as \xNN ("EOS\x20DIGITAL").
QString decodeUdevName(const QByteArray& name);
// sysfs "removable" = 1 on the device or its disk, or the device hangs off a USB, MMC or FireWire bus.
bool isRemovableBlockDevice(dev_t blockDevice);
// The same judgement for a device's folder below /sys/devices (canonical path).
bool isRemovableSysfsFolder(const QString& folder);

} // namespace kestrava
