#include "execution/ProgressThrottle.h"

#include <gtest/gtest.h>

using namespace kestrava;
using namespace std::chrono_literals;

TEST(ProgressThrottle, forwardsAtMostTenPerSecondUnlessForced)
{
    std::chrono::steady_clock::time_point now{};
    QList<int> seen;
    ProgressThrottle throttle([&](const SortProgress& progress) { seen.append(progress.completedFiles); },
                              [&] { return now; });
    const auto send = [&](int files, bool force = false) {
        SortProgress progress;
        progress.completedFiles = files;
        throttle.emitProgress(progress, force);
    };
    send(1);            // the first report always passes
    now += 99ms;
    send(2);            // too soon: dropped, not queued
    now += 1ms;
    send(3);            // exactly 0.1 s after the last forwarded one
    now += 10ms;
    send(4, true);      // forced
    now += 50ms;
    send(5);            // measured from the forced one
    now += 50ms;
    send(6);
    EXPECT_EQ(seen, (QList<int>{1, 3, 4, 6}));
}
