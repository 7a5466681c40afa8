#include "Exiv2Setup.h"

#include <exiv2/exiv2.hpp>

#include <mutex>

namespace kestrava {

namespace {

std::mutex& xmpRegistryLock()
{
    static std::mutex lock;
    return lock;
}

void lockXmpRegistry(void*, bool lock)
{
    if (lock)
        xmpRegistryLock().lock();
    else
        xmpRegistryLock().unlock();
}

} // namespace

void ensureExiv2Initialised()
{
    static std::once_flag once;
    std::call_once(once, [] {
        Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
        Exiv2::XmpParser::initialize(&lockXmpRegistry, nullptr);
#ifdef EXV_ENABLE_BMFF
        Exiv2::enableBMFF(true);
#endif
    });
}

} // namespace kestrava
