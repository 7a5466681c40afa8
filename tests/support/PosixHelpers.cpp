#include "PosixHelpers.h"

#include <QFile>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrava::test {

bool createRawNamedFile(const QByteArray& path, const QByteArray& content)
{
    const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd < 0)
        return false;
    const bool written = ::write(fd, content.constData(), size_t(content.size())) == content.size();
    return ::close(fd) == 0 && written;
}

QByteArray readRawNamedFile(const QByteArray& path)
{
    QFile file;
    const int fd = ::open(path.constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return {};
    if (!file.open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        return {};
    }
    return file.readAll();
}

RawNameCleanup::~RawNameCleanup()
{
    for (const QByteArray& path : paths_)
        if (::unlink(path.constData()) != 0)
            ::rmdir(path.constData());
}

void setModificationTime(const QString& path, qint64 secondsSinceEpoch)
{
    const struct timespec times[2] = {{secondsSinceEpoch, 0}, {secondsSinceEpoch, 0}};
    ::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, AT_SYMLINK_NOFOLLOW);
}

bool runningAsRoot()
{
    return ::geteuid() == 0;
}

qint64 pidOfReapedProcess()
{
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(0);
    int status = 0;
    ::waitpid(child, &status, 0);
    return child;
}

} // namespace kestrava::test
