// A file's identity across a volume that comes back under another device number (a card
// reinserted, an LVM volume after a reboot) and across another volume that comes back under
// the same number: the volume UUID, read afresh, decides; the device number only where no
// UUID is known. Real ext4 images on loop devices; skipped where mounting is refused.

#include "TestSupport.h"

#include "trash/TrashTypes.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

QString tool(const QString& name)
{
    return QStandardPaths::findExecutable(name, {QStringLiteral("/usr/sbin"), QStringLiteral("/sbin"), QStringLiteral("/usr/bin")});
}

// Runs a tool; false (and `why`) when it is missing or fails.
bool run(const QString& name, const QStringList& arguments, QString& why, QByteArray* out = nullptr)
{
    QProcess process;
    process.start(tool(name), arguments);
    if (tool(name).isEmpty() || !process.waitForFinished(30000) || process.exitStatus() != QProcess::NormalExit
        || process.exitCode() != 0) {
        why = name + QStringLiteral(": ") + QString::fromLocal8Bit(process.readAllStandardError().trimmed());
        return false;
    }
    if (out)
        *out = process.readAllStandardOutput().trimmed();
    return true;
}

// Loop devices attached and a mount made by the test, all undone on the way out.
class Loops {
public:
    ~Loops()
    {
        if (!mounted_.isEmpty())
            unmount();
        QString ignored;
        for (const QString& device : attached_)
            run(QStringLiteral("losetup"), {QStringLiteral("-d"), device}, ignored);
    }

    // Attaches `image` to `device`, or to the first free loop device when `device` is empty.
    QString attach(const QString& image, const QString& device, QString& why)
    {
        QByteArray out;
        const bool ok = device.isEmpty() ? run(QStringLiteral("losetup"), {QStringLiteral("-f"), QStringLiteral("--show"), image}, why, &out)
                                         : run(QStringLiteral("losetup"), {device, image}, why);
        if (!ok)
            return {};
        const QString attachedTo = device.isEmpty() ? QString::fromLocal8Bit(out) : device;
        attached_.append(attachedTo);
        return attachedTo;
    }

    void detach(const QString& device)
    {
        QString ignored;
        QElapsedTimer waited;
        waited.start();
        while (!run(QStringLiteral("losetup"), {QStringLiteral("-d"), device}, ignored) && waited.elapsed() < 5000)
            QThread::msleep(50);
        attached_.removeAll(device);
    }

    bool mount(const QString& device, const QString& folder, QString& why)
    {
        if (!run(QStringLiteral("mount"), {QStringLiteral("-t"), QStringLiteral("ext4"), device, folder}, why))
            return false;
        mounted_ = folder;
        return true;
    }

    void unmount()
    {
        QString ignored;
        run(QStringLiteral("umount"), {mounted_}, ignored);
        mounted_.clear();
    }

private:
    QStringList attached_;
    QString mounted_;
};

TEST(FileIdentityAcrossDevices, theVolumeUuidDecidesWhereItIsKnown)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "loop devices need root";
    QTemporaryDir folder;
    const QString image = folder.filePath(QStringLiteral("volume.img"));
    const QString placeholder = folder.filePath(QStringLiteral("placeholder.img"));
    const QString mountPoint = folder.filePath(QStringLiteral("volume"));
    QDir().mkpath(mountPoint);
    for (const QString& file : {image, placeholder}) {
        QFile created(file);
        ASSERT_TRUE(created.open(QIODevice::WriteOnly) && created.resize(16 << 20));
    }
    QString why;
    // Without metadata checksums a copy of the image can be given a new UUID in place.
    if (!run(QStringLiteral("mkfs.ext4"), {QStringLiteral("-q"), QStringLiteral("-F"), QStringLiteral("-O"),
                                           QStringLiteral("^metadata_csum"), image}, why))
        GTEST_SKIP() << why.toStdString();

    Loops loops;
    const QString first = loops.attach(image, {}, why);
    if (first.isEmpty() || !loops.mount(first, mountPoint, why))
        GTEST_SKIP() << "mounting refused: " << why.toStdString();
    const QString photo = mountPoint + QStringLiteral("/IMG_1.CR2");
    writeFile(photo, "the original's bytes");
    const FileIdentity before = FileIdentity::capture(photo, true);
    if (!before.volumeUUID)
        GTEST_SKIP() << "this system does not tell the volume's UUID";
    loops.unmount();
    loops.detach(first);

    // The same volume back under another device number: still the same file.
    // Another test may take the freed device meanwhile: that is the machine, not the code.
    if (loops.attach(placeholder, first, why).isEmpty())
        GTEST_SKIP() << "the first loop device was taken meanwhile: " << why.toStdString();
    const QString second = loops.attach(image, {}, why);
    ASSERT_FALSE(second.isEmpty()) << why.toStdString();
    ASSERT_TRUE(loops.mount(second, mountPoint, why)) << why.toStdString();
    const FileIdentity moved = FileIdentity::capture(photo, true);
    ASSERT_NE(moved.device, before.device);
    EXPECT_TRUE(moved.matches(before, false));
    EXPECT_TRUE(before.isOnVolumeOf(moved.device, photo));
    loops.unmount();
    loops.detach(second);
    loops.detach(first);

    // Another volume, byte for byte the same but for its UUID, under the first device number:
    // it must not inherit the first volume's identity.
    const QString other = folder.filePath(QStringLiteral("other.img"));
    ASSERT_TRUE(QFile::copy(image, other));
    ASSERT_TRUE(run(QStringLiteral("tune2fs"), {QStringLiteral("-U"), QStringLiteral("random"), other}, why)) << why.toStdString();
    if (loops.attach(other, first, why) != first)
        GTEST_SKIP() << "the first loop device was taken meanwhile: " << why.toStdString();
    ASSERT_TRUE(loops.mount(first, mountPoint, why)) << why.toStdString();
    const FileIdentity swapped = FileIdentity::capture(photo, true);
    ASSERT_EQ(swapped.device, before.device);
    EXPECT_NE(swapped.volumeUUID, before.volumeUUID);
    EXPECT_FALSE(swapped.matches(before, false));
    EXPECT_FALSE(before.isOnVolumeOf(swapped.device, photo));
}

} // namespace
