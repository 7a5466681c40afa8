#pragma once

#include <QString>

namespace kestrava::testhooks {

// A named step at which a test can make the process die as if the power went: in builds with
// KESTRAVA_TEST_HOOKS, when the environment variable KESTRAVA_CRASH_AT is "<name>" or
// "<name>#<n>" (the n-th time the step is reached, counted per process), the process ends at
// once with _exit(86), without unwinding, flushing or closing anything. Elsewhere a no-op.
#ifdef KESTRAVA_TEST_HOOKS
void crashPoint(const QString& name);
#else
inline void crashPoint(const QString&) {}
#endif

constexpr int crashExitCode = 86;

} // namespace kestrava::testhooks
