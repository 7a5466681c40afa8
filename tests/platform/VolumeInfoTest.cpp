#include "platform/MountTable.h"
#include "platform/VolumeInfo.h"

#include "TestSupport.h"

#include <QFileInfo>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/sysmacros.h>

using namespace kestrava;
using kestrava::test::TempTree;

namespace {

dev_t deviceOf(const QString& path)
{
    struct stat info {};
    EXPECT_EQ(::stat(QFile::encodeName(path).constData(), &info), 0);
    return info.st_dev;
}

// Everything but the free space, which other processes change between two calls.
VolumeFacts withoutSpace(VolumeFacts facts)
{
    facts.availableBytes = 0;
    return facts;
}

} // namespace

TEST(VolumeFacts, describeTheFileSystemOfATemporaryFolder)
{
    TempTree tree;
    const QString root = QFileInfo(tree.root()).canonicalFilePath();
    const std::optional<VolumeFacts> facts = volumeFacts(root);
    ASSERT_TRUE(facts.has_value());
    EXPECT_EQ(facts->deviceId, quint64(deviceOf(root)));
    EXPECT_TRUE(root == facts->mountPoint || root.startsWith(facts->mountPoint == "/" ? "/" : facts->mountPoint + "/"))
        << root.toStdString() << " on " << facts->mountPoint.toStdString();
    EXPECT_FALSE(facts->format.isEmpty());
    EXPECT_FALSE(facts->name.isEmpty());
    EXPECT_GT(facts->availableBytes, 0);
    EXPECT_FALSE(facts->isReadOnly);
    EXPECT_TRUE(facts->identity.endsWith("@" + facts->mountPoint));
    if (facts->uuid)
        EXPECT_TRUE(facts->identity.startsWith(*facts->uuid + "@"));
    else
        EXPECT_EQ(facts->identity, QStringLiteral("dev:%1@%2").arg(facts->deviceId).arg(facts->mountPoint));
}

TEST(VolumeFacts, missingPathIsAnsweredForItsNearestExistingAncestor)
{
    TempTree tree;
    const std::optional<VolumeFacts> existing = volumeFacts(tree.root());
    const std::optional<VolumeFacts> missing = volumeFacts(tree.path("not/yet/there.jpg"));
    ASSERT_TRUE(existing && missing);
    EXPECT_EQ(withoutSpace(*missing), withoutSpace(*existing));
}

TEST(VolumeFacts, memoryFileSystemHasNoUuidAndIsLocal)
{
    if (!QFileInfo(QStringLiteral("/dev/shm")).isDir())
        GTEST_SKIP() << "no /dev/shm";
    const std::optional<VolumeFacts> facts = volumeFacts(QStringLiteral("/dev/shm"));
    ASSERT_TRUE(facts.has_value());
    if (facts->format != "tmpfs")
        GTEST_SKIP() << "/dev/shm is " << facts->format.toStdString();
    EXPECT_FALSE(facts->uuid.has_value());
    EXPECT_TRUE(facts->isLocal);
    EXPECT_FALSE(facts->isRemovable);
    EXPECT_EQ(facts->mountPoint, "/dev/shm");
    EXPECT_EQ(facts->name, "shm");
}

TEST(VolumeFacts, procIsItsOwnVolume)
{
    const std::optional<VolumeFacts> facts = volumeFacts(QStringLiteral("/proc/self"));
    ASSERT_TRUE(facts.has_value());
    EXPECT_EQ(facts->format, "proc");
    EXPECT_EQ(facts->mountPoint, "/proc");
}

TEST(SameVolume, followsTheDeviceOfExistingPaths)
{
    TempTree tree;
    const QString sub = tree.mkdir("a/b");
    EXPECT_TRUE(sameVolume(tree.root(), sub));
    EXPECT_FALSE(sameVolume(tree.root(), QStringLiteral("/proc")));
    EXPECT_FALSE(sameVolume(tree.root(), tree.path("missing")));
}

TEST(MountInfoParsing, unescapesNamesAndSkipsOptionalFields)
{
    const QByteArray text =
        "22 27 0:21 / /proc rw,relatime - proc proc rw\n"
        "36 27 8:17 / /media/anna/EOS\\040DIGITAL rw,nosuid shared:7 master:1 - exfat /dev/sdb1 rw\n"
        "garbage line\n"
        "40 27 0:50 / /mnt/nas rw - nfs4 server:/photos rw\n";
    const QList<MountEntry> mounts = parseMountInfo(text);
    ASSERT_EQ(mounts.size(), 3);
    EXPECT_EQ(mounts[1].mountId, 36u);
    EXPECT_EQ(mounts[1].mountPoint, "/media/anna/EOS DIGITAL");
    EXPECT_EQ(mounts[1].fsType, "exfat");
    EXPECT_EQ(mounts[1].source, "/dev/sdb1");
    EXPECT_EQ(mounts[1].device, makedev(8, 17));
    EXPECT_EQ(mounts[2].fsType, "nfs4");
}

TEST(MountInfoParsing, findsTheMountByIdElseByLongestPrefixOnTheSameDevice)
{
    const QList<MountEntry> mounts = parseMountInfo(
        "1 0 8:1 / / rw - ext4 /dev/sda1 rw\n"
        "2 1 8:2 / /home rw - ext4 /dev/sda2 rw\n"
        "3 1 8:3 / /home/anna/fotos rw - ext4 /dev/sda3 rw\n"
        "4 1 8:4 / /home/anna/fotos rw - xfs /dev/sda4 rw\n");
    EXPECT_EQ(findMount(mounts, "/home/anna/x", makedev(8, 2), 1u)->mountId, 1u);
    EXPECT_EQ(findMount(mounts, "/home/anna/x", makedev(8, 2), std::nullopt)->mountId, 2u);
    // A mount on top of another at the same place hides it.
    EXPECT_EQ(findMount(mounts, "/home/anna/fotos/a.jpg", makedev(8, 4), std::nullopt)->mountId, 4u);
    // "/home/anna/fotos2" is not below "/home/anna/fotos".
    EXPECT_EQ(findMount(mounts, "/home/anna/fotos2", makedev(8, 2), std::nullopt)->mountId, 2u);
    // Bind mounts and btrfs subvolumes may report another device: the prefix still decides.
    EXPECT_EQ(findMount(mounts, "/home/anna/x", makedev(0, 99), std::nullopt)->mountId, 2u);
}

TEST(NetworkFileSystems, areRecognisedByTypeIncludingFuseHelpers)
{
    for (const char* type : {"nfs", "nfs4", "cifs", "smb3", "9p", "fuse.sshfs", "fuse.rclone", "davfs"})
        EXPECT_TRUE(isNetworkFileSystemType(QString::fromLatin1(type))) << type;
    for (const char* type : {"ext4", "btrfs", "exfat", "vfat", "tmpfs", "fuseblk", "fuse.exfat", "overlay"})
        EXPECT_FALSE(isNetworkFileSystemType(QString::fromLatin1(type))) << type;
}

TEST(UdevNames, decodeHexEscapesOfLabels)
{
    EXPECT_EQ(decodeUdevName("EOS\\x20DIGITAL"), "EOS DIGITAL");
    EXPECT_EQ(decodeUdevName("Fotos\\x2fRAW"), "Fotos/RAW");
    EXPECT_EQ(decodeUdevName("M\xc3\xbcller"), QString::fromUtf8("Müller"));
    EXPECT_EQ(decodeUdevName("trailing\\x2"), "trailing\\x2");
}

namespace {

// A miniature /sys/devices: each disk folder with its removable flag, partitions below it.
QString fakeDisk(TempTree& tree, const QString& relative, const QByteArray& removable)
{
    tree.write(relative + "/removable", removable + "\n");
    tree.write(relative + "/" + QFileInfo(relative).fileName() + "1/partition", "1\n");
    return QFileInfo(tree.path(relative)).canonicalFilePath();
}

} // namespace

// The disk's removable flag counts for its partitions; USB and card-reader buses count even
// when the flag says no.
TEST(RemovableMedia, flagOfTheDiskOrItsBusCountsForItsPartitions)
{
    struct Disk {
        const char* path;
        const char* flag;
        bool removable;
    };
    const Disk disks[] = {{"devices/pci0/ata1/host0/block/sda", "1", true},
                          {"devices/pci0/ata2/host1/block/sdc", "0", false},
                          {"devices/pci0/usb2/2-1/2-1:1.0/host6/block/sdb", "0", true},
                          {"devices/pci0/mmc_host/mmc0/mmc0:aaaa/block/mmcblk0", "0", true}};
    TempTree tree;
    for (const Disk& disk : disks) {
        const QString folder = fakeDisk(tree, disk.path, disk.flag);
        EXPECT_EQ(isRemovableSysfsFolder(folder), disk.removable) << disk.path;
        EXPECT_EQ(isRemovableSysfsFolder(folder + "/" + QFileInfo(folder).fileName() + "1"), disk.removable) << disk.path;
    }
}

TEST(RemovableMedia, encryptedVolumeInheritsFromTheDeviceBelow)
{
    TempTree tree;
    const QString usb = fakeDisk(tree, "devices/pci0/usb1/1-2/host7/block/sdd", "0");
    const QString mapper = tree.mkdir("devices/virtual/block/dm-0");
    tree.write("devices/virtual/block/dm-0/removable", "0\n");
    tree.mkdir("devices/virtual/block/dm-0/slaves");
    ASSERT_TRUE(QFile::link(usb + "/sdd1", mapper + "/slaves/sdd1"));
    EXPECT_TRUE(isRemovableSysfsFolder(QFileInfo(mapper).canonicalFilePath()));
}

TEST(DeviceLinks, matchOnlyLinksToTheSameBlockDevice)
{
    struct stat disk {};
    const char* candidates[] = {"/dev/vda", "/dev/sda", "/dev/nvme0n1", "/dev/loop0"};
    QString diskPath;
    for (const char* candidate : candidates) {
        if (::stat(candidate, &disk) == 0 && S_ISBLK(disk.st_mode)) {
            diskPath = QString::fromLatin1(candidate);
            break;
        }
    }
    if (diskPath.isEmpty())
        GTEST_SKIP() << "no block device to point at";
    TempTree tree;
    const QString folder = tree.mkdir("by-uuid");
    ASSERT_TRUE(QFile::link("/dev/null", folder + "/0000-NULL"));
    ASSERT_TRUE(QFile::link(diskPath, folder + "/1234-ABCD"));
    EXPECT_EQ(deviceLinkName(folder, disk.st_rdev), QStringLiteral("1234-ABCD"));
    EXPECT_EQ(deviceLinkName(folder, makedev(major(disk.st_rdev), minor(disk.st_rdev) + 100)), std::nullopt);
    EXPECT_EQ(deviceLinkName(tree.path("missing"), disk.st_rdev), std::nullopt);
}
