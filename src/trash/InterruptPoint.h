#pragma once

#include <QString>
#include <functional>

namespace kestrava::testhooks {

// A named step at which a test stands in for a user's Ctrl-C: in builds with
// KESTRAVA_TEST_HOOKS, when the environment variable KESTRAVA_INTERRUPT_AT is "<name>" or
// "<name>#<n>" (the n-th time the step is reached, counted per process), the process sends
// itself a SIGINT there and holds the step (at most ten seconds) until `stopSeen` answers
// true, so a test sees exactly what follows a stop request that arrived during that step.
// Elsewhere a no-op. Kills at durable steps are platform/DurableSteps.h's business.
#ifdef KESTRAVA_TEST_HOOKS
void interruptPoint(const QString& name, const std::function<bool()>& stopSeen);
#else
inline void interruptPoint(const QString&, const std::function<bool()>&) {}
#endif

} // namespace kestrava::testhooks
