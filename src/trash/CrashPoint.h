#pragma once

#include <QString>
#include <functional>

namespace kestrava::testhooks {

// A named step at which a test can make the process die as if the power went: in builds with
// KESTRAVA_TEST_HOOKS, when the environment variable KESTRAVA_CRASH_AT is "<name>" or
// "<name>#<n>" (the n-th time the step is reached, counted per process), the process ends at
// once with _exit(86), without unwinding, flushing or closing anything. Elsewhere a no-op.
//
// KESTRAVA_INTERRUPT_AT="<name>" or "<name>#<n>" sends the process a SIGINT at that step, as
// a user's Ctrl-C would, and holds the step (at most ten seconds) until `stopSeen` answers
// true, so a test sees exactly what follows a stop request that arrived during that step.
#ifdef KESTRAVA_TEST_HOOKS
void crashPoint(const QString& name);
void interruptPoint(const QString& name, const std::function<bool()>& stopSeen);
#else
inline void crashPoint(const QString&) {}
inline void interruptPoint(const QString&, const std::function<bool()>&) {}
#endif

constexpr int crashExitCode = 86;

} // namespace kestrava::testhooks
