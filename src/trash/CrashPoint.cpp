#include "CrashPoint.h"

#ifdef KESTRAVA_TEST_HOOKS

#include <QHash>
#include <QMutex>
#include <cstdlib>
#include <unistd.h>

namespace kestrava::testhooks {

void crashPoint(const QString& name)
{
    static const QString wanted = QString::fromLocal8Bit(std::getenv("KESTRAVA_CRASH_AT"));
    if (wanted.isEmpty())
        return;
    const qsizetype hash = wanted.indexOf(QLatin1Char('#'));
    const QString wantedName = hash < 0 ? wanted : wanted.left(hash);
    if (wantedName != name)
        return;
    const int nth = hash < 0 ? 1 : wanted.mid(hash + 1).toInt();
    static QMutex mutex;
    static int hits = 0;
    QMutexLocker lock(&mutex);
    if (++hits >= nth)
        ::_exit(crashExitCode);
}

} // namespace kestrava::testhooks

#endif
