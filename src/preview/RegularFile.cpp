#include "RegularFile.h"

#include <QFileInfo>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrava::preview {

bool isRegularFile(const QString& path)
{
    struct stat info;
    return ::stat(QFile::encodeName(path).constData(), &info) == 0 && S_ISREG(info.st_mode);
}

bool existsButIsNotRegular(const QString& path)
{
    struct stat info;
    return ::stat(QFile::encodeName(path).constData(), &info) == 0 && !S_ISREG(info.st_mode);
}

bool openRegularFile(QFile& file)
{
    // O_NONBLOCK only matters for the open itself: on a regular file reads ignore it.
    const int fd = ::open(QFile::encodeName(file.fileName()).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return false;
    struct stat info;
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        ::close(fd);
        return false;
    }
    if (!file.open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        return false;
    }
    return true;
}

QString notRegularFileMessage(const QString& path)
{
    return QStringLiteral("„%1“ ist keine gewöhnliche Datei (etwa eine Pipe oder ein Gerät) und wird nicht gelesen.")
        .arg(QFileInfo(path).fileName());
}

} // namespace kestrava::preview
