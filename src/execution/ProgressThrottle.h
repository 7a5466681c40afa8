#pragma once

// Limits progress reports to ten per second. Thread-safe: the handler runs outside the lock,
// on the caller's thread (the handler itself hops to the main thread if it must).

#include "SortProgress.h"

#include <QMutex>

#include <chrono>
#include <functional>
#include <optional>

namespace kestrava {

class ProgressThrottle {
public:
    using Handler = std::function<void(const SortProgress&)>;
    using Clock = std::function<std::chrono::steady_clock::time_point()>;

    static constexpr std::chrono::milliseconds interval{100};

    explicit ProgressThrottle(Handler handler, Clock clock = &std::chrono::steady_clock::now);

    // Forwards when `force` is set or at least `interval` passed since the last forwarded
    // report; otherwise drops the report (nothing is queued).
    // (Named emitProgress because Qt reserves `emit` as a macro.)
    void emitProgress(const SortProgress& progress, bool force = false);

private:
    Handler handler_;
    Clock clock_;
    QMutex lock_;
    std::optional<std::chrono::steady_clock::time_point> lastEmission_; // none: the distant past
};

} // namespace kestrava
