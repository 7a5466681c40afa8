#include "InterruptPoint.h"

#ifdef KESTRAVA_TEST_HOOKS

#include <QMutex>
#include <cstdlib>
#include <csignal>
#include <unistd.h>

namespace kestrava::testhooks {

namespace {

// True when KESTRAVA_INTERRUPT_AT names `name` ("<name>" or "<name>#<n>") and this is its n-th hit.
bool reached(const QString& name, int& hits)
{
    const QString wanted = QString::fromLocal8Bit(std::getenv("KESTRAVA_INTERRUPT_AT"));
    if (wanted.isEmpty())
        return false;
    const qsizetype hash = wanted.indexOf(QLatin1Char('#'));
    const QString wantedName = hash < 0 ? wanted : wanted.left(hash);
    if (wantedName != name)
        return false;
    const int nth = hash < 0 ? 1 : wanted.mid(hash + 1).toInt();
    static QMutex mutex;
    QMutexLocker lock(&mutex);
    return ++hits == nth;
}

} // namespace

void interruptPoint(const QString& name, const std::function<bool()>& stopSeen)
{
    static int hits = 0;
    if (!reached(name, hits))
        return;
    ::kill(::getpid(), SIGINT);
    for (int waited = 0; waited < 1000 && !(stopSeen && stopSeen()); ++waited)
        ::usleep(10000);
}

} // namespace kestrava::testhooks

#endif
