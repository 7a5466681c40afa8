#include "ProgressThrottle.h"

namespace kestrava {

ProgressThrottle::ProgressThrottle(Handler handler, Clock clock)
    : handler_(std::move(handler))
    , clock_(std::move(clock))
{
}

void ProgressThrottle::emitProgress(const SortProgress& progress, bool force)
{
    {
        QMutexLocker locker(&lock_);
        const auto now = clock_();
        if (!force && lastEmission_ && now - *lastEmission_ < interval)
            return;
        lastEmission_ = now;
    }
    if (handler_)
        handler_(progress);
}

} // namespace kestrava
