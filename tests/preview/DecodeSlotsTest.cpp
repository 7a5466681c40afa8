#include "preview/DecodeSlots.h"

#include <QtConcurrent/QtConcurrentRun>
#include <gtest/gtest.h>

#include <atomic>
#include <vector>

using namespace kestrava;

TEST(DecodeSlots, grantsUpToTheLimitThenQueues)
{
    DecodeSlots slots_;
    auto a = slots_.acquire(0, 2);
    auto b = slots_.acquire(0, 2);
    auto c = slots_.acquire(0, 2);
    ASSERT_TRUE(a.granted.isFinished() && a.granted.result());
    ASSERT_TRUE(b.granted.isFinished() && b.granted.result());
    EXPECT_FALSE(c.granted.isFinished());
    EXPECT_EQ(slots_.activeCount(), 2);
    slots_.release();
    ASSERT_TRUE(c.granted.isFinished());
    EXPECT_TRUE(c.granted.result());
    EXPECT_EQ(slots_.activeCount(), 2);
    slots_.release();
    slots_.release();
    slots_.release(); // one too many must not go below zero
    EXPECT_EQ(slots_.activeCount(), 0);
}

TEST(DecodeSlots, mostUrgentWaiterIsServedNextThenByArrival)
{
    DecodeSlots slots_;
    auto holder = slots_.acquire(0, 1);
    std::vector<std::pair<int, DecodeSlots::Request>> waiting;
    for (int priority : {0, 47, 50, 47, 99, 0})
        waiting.push_back({priority, slots_.acquire(priority, 1)});
    std::vector<size_t> order;
    for (size_t round = 0; round < waiting.size(); ++round) {
        slots_.release();
        for (size_t i = 0; i < waiting.size(); ++i)
            if (waiting[i].second.granted.isFinished() && std::find(order.begin(), order.end(), i) == order.end())
                order.push_back(i);
        ASSERT_EQ(order.size(), round + 1) << "exactly one waiter per release";
    }
    EXPECT_EQ(order, (std::vector<size_t>{4, 2, 1, 3, 0, 5}));
}

TEST(DecodeSlots, theScreenIsNeverKeptWaitingByBackgroundWork)
{
    const int screen = DecodeSlots::screenPriority;
    DecodeSlots slots_;
    auto thumbnail = slots_.acquire(20, 2);
    auto focus = slots_.acquire(-10, 2);
    auto metadata = slots_.acquire(0, 2);
    ASSERT_FALSE(metadata.granted.isFinished());

    auto picture = slots_.acquire(screen, 2);
    ASSERT_TRUE(picture.granted.isFinished() && picture.granted.result()) << "every normal slot is busy";
    EXPECT_EQ(slots_.activeCount(), 3);

    // Screen requests take turns: the next picture waits for this one, though ahead of the rest.
    auto nextPicture = slots_.acquire(screen, 2);
    slots_.release(20);
    EXPECT_FALSE(nextPicture.granted.isFinished());
    EXPECT_FALSE(metadata.granted.isFinished()) << "the limit still holds for background work";
    slots_.release(screen);
    ASSERT_TRUE(nextPicture.granted.isFinished());
    EXPECT_FALSE(metadata.granted.isFinished());
    slots_.release(screen);
    EXPECT_TRUE(metadata.granted.isFinished());
    EXPECT_EQ(slots_.activeCount(), 2);

    // Back within the limit, a new screen request takes the extra slot again.
    auto thirdPicture = slots_.acquire(screen, 2);
    EXPECT_TRUE(thirdPicture.granted.isFinished());
}

TEST(DecodeSlots, theScreenTakesTheOnlySlotOfACardBesideBackgroundWork)
{
    DecodeSlots slots_;
    auto thumbnail = slots_.acquire(20, 1);
    auto picture = slots_.acquire(DecodeSlots::screenPriority, 1);
    EXPECT_TRUE(picture.granted.isFinished() && picture.granted.result());
    auto another = slots_.acquire(20, 1);
    slots_.release(DecodeSlots::screenPriority);
    EXPECT_FALSE(another.granted.isFinished()) << "the card still has one background reader";
}

TEST(DecodeSlots, limitOnlyGoesDown)
{
    DecodeSlots slots_;
    auto removable = slots_.acquire(0, 1);
    EXPECT_EQ(slots_.effectiveLimit(), 1);
    auto internal = slots_.acquire(0, 2);
    EXPECT_FALSE(internal.granted.isFinished()) << "a later request for an internal disk still runs with one slot";
    EXPECT_EQ(slots_.effectiveLimit(), 1);
    slots_.release();
    EXPECT_TRUE(internal.granted.isFinished());
}

TEST(DecodeSlots, withdrawnWaiterGetsNoSlotAndTakesNone)
{
    DecodeSlots slots_;
    auto holder = slots_.acquire(0, 1);
    auto waiter = slots_.acquire(50, 1);
    slots_.withdraw(waiter.ticket);
    ASSERT_TRUE(waiter.granted.isFinished());
    EXPECT_FALSE(waiter.granted.result());
    EXPECT_EQ(slots_.waiterCount(), 0);
    slots_.release();
    EXPECT_EQ(slots_.activeCount(), 0);
    slots_.withdraw(waiter.ticket); // harmless twice
}

TEST(DecodeSlots, blockingAcquireStopsOnCancelWithoutLeakingASlot)
{
    DecodeSlots slots_;
    auto holder = slots_.acquire(100, 1);
    std::atomic<bool> cancel{false};
    auto blocked = QtConcurrent::run([&] { return slots_.acquireBlocking(0, 1, [&] { return cancel.load(); }); });
    while (slots_.waiterCount() == 0)
        std::this_thread::yield();
    cancel = true;
    EXPECT_FALSE(blocked.result());
    EXPECT_EQ(slots_.waiterCount(), 0);
    slots_.release();
    EXPECT_EQ(slots_.activeCount(), 0);

    auto granted = QtConcurrent::run([&] { return slots_.acquireBlocking(0, 1, [] { return false; }); });
    EXPECT_TRUE(granted.result());
    EXPECT_EQ(slots_.activeCount(), 1);
}

TEST(DecodeSlots, concurrentUseNeverExceedsTheLimit)
{
    DecodeSlots slots_;
    std::atomic<int> inside{0}, worst{0};
    QList<QFuture<void>> runs;
    for (int t = 0; t < 8; ++t)
        runs.append(QtConcurrent::run([&, t] {
            for (int i = 0; i < 200; ++i) {
                if (!slots_.acquireBlocking(t, 2, [] { return false; }))
                    continue;
                DecodeSlotGuard guard(slots_);
                const int now = ++inside;
                int seen = worst.load();
                while (now > seen && !worst.compare_exchange_weak(seen, now)) {
                }
                --inside;
            }
        }));
    for (auto& run : runs)
        run.waitForFinished();
    EXPECT_LE(worst.load(), 2);
    EXPECT_EQ(slots_.activeCount(), 0);
}
