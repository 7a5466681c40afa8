#include "ProcessProbe.h"

#include <cerrno>
#include <csignal>
#include <sys/types.h>

namespace kestrava {

bool isProcessAlive(qint64 pid)
{
    // 0 and negative numbers address process groups, and a pid that does not fit pid_t was
    // never a process: neither can be the owner of a lock.
    if (pid <= 0 || pid != qint64(pid_t(pid)))
        return false;
    if (::kill(pid_t(pid), 0) == 0)
        return true;
    return errno != ESRCH;
}

} // namespace kestrava
