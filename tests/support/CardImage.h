#pragma once

// A camera card for tests: a small exFAT or FAT image, formatted and mounted through FUSE
// (this machine's kernel has neither driver; exfat-fuse needs a loop device, fusefat takes the
// image itself). Mounting needs root and /dev/fuse: where either is missing, or a tool is not
// installed, or the mount is refused, the card is not mounted and says why, for GTEST_SKIP.
// The destructor unmounts and detaches, also when the test failed half-way.

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>

#include <fcntl.h>
#include <unistd.h>

namespace kestrava::test {

enum class CardFormat { exfat, fat };

class CardImage {
public:
    explicit CardImage(CardFormat format, const QString& label = QStringLiteral("KARTE"), int megabytes = 64)
        : format_(format)
    {
        mount(label, megabytes);
    }

    ~CardImage() { unmount(); }

    CardImage(const CardImage&) = delete;
    CardImage& operator=(const CardImage&) = delete;

    bool isMounted() const { return mounted_; }
    QString skipReason() const { return skipReason_; }
    QString mountPoint() const { return mountPoint_; }
    QString path(const QString& relative) const { return mountPoint_ + QLatin1Char('/') + relative; }

private:
    static QString tool(const QString& name)
    {
        return QStandardPaths::findExecutable(name, {QStringLiteral("/usr/sbin"), QStringLiteral("/sbin"),
                                                     QStringLiteral("/usr/bin"), QStringLiteral("/bin")});
    }

    // Runs a tool; on failure records why and returns false.
    bool run(const QString& name, const QStringList& arguments, QByteArray* out = nullptr)
    {
        const QString program = tool(name);
        if (program.isEmpty()) {
            skipReason_ = name + QStringLiteral(" is not installed");
            return false;
        }
        QProcess process;
        process.start(program, arguments);
        if (!process.waitForFinished(30000) || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
            if (process.state() != QProcess::NotRunning) {
                process.kill();
                process.waitForFinished();
            }
            skipReason_ = name + QStringLiteral(" refused: ") + QString::fromLocal8Bit(process.readAllStandardError().trimmed());
            return false;
        }
        if (out)
            *out = process.readAllStandardOutput();
        return true;
    }

    bool isListedAsMount() const
    {
        QFile table(QStringLiteral("/proc/self/mountinfo"));
        if (!table.open(QIODevice::ReadOnly))
            return false;
        const QByteArray needle = ' ' + QFile::encodeName(mountPoint_) + ' ';
        return table.readAll().contains(needle);
    }

    void mount(const QString& label, int megabytes)
    {
        if (::geteuid() != 0) {
            skipReason_ = QStringLiteral("mounting a card image needs root");
            return;
        }
        const int fuse = ::open("/dev/fuse", O_RDWR | O_CLOEXEC);
        if (fuse < 0) {
            skipReason_ = QStringLiteral("/dev/fuse is not available");
            return;
        }
        ::close(fuse);
        if (!folder_.isValid()) {
            skipReason_ = QStringLiteral("no temporary folder");
            return;
        }
        image_ = folder_.filePath(QStringLiteral("card.img"));
        mountPoint_ = folder_.filePath(QStringLiteral("card"));
        QDir().mkpath(mountPoint_);
        {
            QFile file(image_);
            if (!file.open(QIODevice::WriteOnly) || !file.resize(qint64(megabytes) << 20)) {
                skipReason_ = QStringLiteral("cannot create the card image");
                return;
            }
        }
        if (format_ == CardFormat::exfat) {
            QByteArray device;
            if (!run(QStringLiteral("mkfs.exfat"), {QStringLiteral("-L"), label, image_}))
                return;
            // Tests running at once can race for the same free loop device: try again.
            bool attached = false;
            for (int attempt = 0; attempt < 5 && !attached; ++attempt)
                attached = run(QStringLiteral("losetup"), {QStringLiteral("-f"), QStringLiteral("--show"), image_}, &device);
            if (!attached)
                return;
            loopDevice_ = QString::fromLocal8Bit(device.trimmed());
            if (!run(QStringLiteral("mount.exfat-fuse"), {loopDevice_, mountPoint_}))
                return;
        } else {
            if (!run(QStringLiteral("mkfs.vfat"), {QStringLiteral("-n"), label, image_})
                || !run(QStringLiteral("fusefat"), {QStringLiteral("-o"), QStringLiteral("rw+"), image_, mountPoint_}))
                return;
        }
        mounted_ = isListedAsMount();
        if (!mounted_)
            skipReason_ = QStringLiteral("the card image did not appear as a mount");
    }

    void unmount()
    {
        if (!mountPoint_.isEmpty() && isListedAsMount()) {
            QProcess::execute(tool(QStringLiteral("umount")), {mountPoint_});
            QElapsedTimer waited;
            waited.start();
            while (isListedAsMount() && waited.elapsed() < 10000)
                QThread::msleep(20);
            if (isListedAsMount()) // leave no mount behind for the temporary folder's removal
                QProcess::execute(tool(QStringLiteral("umount")), {QStringLiteral("-l"), mountPoint_});
        }
        if (!loopDevice_.isEmpty()) {
            // The FUSE daemon may still hold the device for a moment after the unmount.
            QElapsedTimer waited;
            waited.start();
            while (QProcess::execute(tool(QStringLiteral("losetup")), {QStringLiteral("-d"), loopDevice_}) != 0
                   && waited.elapsed() < 10000)
                QThread::msleep(50);
            loopDevice_.clear();
        }
        mounted_ = false;
    }

    CardFormat format_;
    QTemporaryDir folder_;
    QString image_;
    QString mountPoint_;
    QString loopDevice_;
    QString skipReason_;
    bool mounted_ = false;
};

} // namespace kestrava::test
