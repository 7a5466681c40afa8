#include "PrivateTmpfs.h"

#include <QFile>

#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrava::test {

int inChildWithTmpfs(const QString& mountPoint, const QByteArray& options, const std::function<int()>& scenario)
{
    const QByteArray target = QFile::encodeName(mountPoint);
    const pid_t child = ::fork();
    if (child < 0)
        return -1;
    if (child == 0) {
        if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0
            || ::mount("tmpfs", target.constData(), "tmpfs", 0, options.constData()) != 0)
            ::_exit(tmpfsRefused);
        int step = 99;
        try {
            step = scenario();
        } catch (...) {
        }
        ::_exit(step);
    }
    int status = 0;
    if (::waitpid(child, &status, 0) != child || !WIFEXITED(status))
        return -1;
    return WEXITSTATUS(status);
}

} // namespace kestrava::test
