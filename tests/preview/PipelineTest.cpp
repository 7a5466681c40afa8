#include "FakeRenderer.h"
#include "TestSupport.h"

#include "preview/PreviewPipeline.h"

#include <QFile>
#include <QThread>
#include <gtest/gtest.h>

#include <utime.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

constexpr int size = 512;

struct Fixture {
    TempTree tree;
    FakeRenderer renderer;
    std::unique_ptr<PreviewPipeline> pipeline;

    explicit Fixture(int concurrency = 2, bool diskCache = false)
    {
        pipeline = make(concurrency, diskCache);
    }
    std::unique_ptr<PreviewPipeline> make(int concurrency, bool diskCache)
    {
        PreviewPipeline::Options options;
        options.cacheFolder = diskCache ? tree.path("Previews") : QString();
        options.renderer = renderer.function();
        options.decodeConcurrency = [concurrency](const QString& path) { return path.contains("/card/") ? 1 : concurrency; };
        return std::make_unique<PreviewPipeline>(std::move(options));
    }
    FileUrl file(const QString& name) { return FileUrl::fromLocalPath(tree.write(name, name.toUtf8())); }
    // Every request sent so far has been seen by the actor.
    PreviewPipeline::Snapshot settled() { return pipeline->snapshot(); }
};

PreviewResult resultOf(QFuture<PreviewResult> future)
{
    future.waitForFinished();
    return future.resultCount() ? future.result() : PreviewResult{};
}

} // namespace

TEST(PreviewPipeline, equalRequestsShareOneRender)
{
    Fixture f;
    f.renderer.holding = true;
    const FileUrl a = f.file("a.jpg");
    auto first = f.pipeline->preview(a, size, 100);
    auto second = f.pipeline->preview(a, size, 100);
    auto lower = f.pipeline->preview(a, size, 47);
    ASSERT_TRUE(f.renderer.waitForCalls(1));
    EXPECT_EQ(f.settled().inFlightPriorities.size(), 1);
    f.renderer.letAllFinish();
    const auto r1 = resultOf(first), r2 = resultOf(second), r3 = resultOf(lower);
    ASSERT_TRUE(r1 && r2 && r3);
    EXPECT_EQ(r1->image.cacheKey(), r2->image.cacheKey());
    EXPECT_EQ(f.renderer.calls(), QStringList{"a.jpg"});
}

TEST(PreviewPipeline, moreUrgentRequestSupersedesAWaitingPrefetch)
{
    Fixture f(1);
    f.renderer.holding = true;
    auto busy = f.pipeline->preview(f.file("busy.jpg"), size, 100);
    ASSERT_TRUE(f.renderer.waitForCalls(1));
    const FileUrl next = f.file("next.jpg");
    auto prefetched = f.pipeline->preview(next, size, 50);
    f.settled();
    auto onScreen = f.pipeline->preview(next, size, 100);
    EXPECT_FALSE(resultOf(prefetched)) << "the superseded prefetch yields nothing";
    f.renderer.letAllFinish();
    EXPECT_TRUE(resultOf(onScreen));
    EXPECT_TRUE(resultOf(busy));
    EXPECT_EQ(f.renderer.calls(), (QStringList{"busy.jpg", "next.jpg"}));
    EXPECT_EQ(f.pipeline->decodeSlots().activeCount(), 0);
    EXPECT_EQ(f.pipeline->decodeSlots().waiterCount(), 0);
}

TEST(PreviewPipeline, aRunningRenderIsJoinedNotRestarted)
{
    // The user reaches a photo whose prefetch is already decoding: the prefetch yields nothing,
    // the decode goes on for the urgent callers; the entry now carries the urgent priority.
    Fixture f(1);
    f.renderer.holding = true;
    const FileUrl next = f.file("next.jpg");
    auto prefetched = f.pipeline->preview(next, size, 50);
    ASSERT_TRUE(f.renderer.waitForCalls(1));
    auto onScreen = f.pipeline->preview(next, size, 100);
    EXPECT_EQ(f.settled().inFlightPriorities.values(), QList<int>{100});
    auto another = f.pipeline->preview(next, size, 100);
    f.settled();
    f.renderer.letAllFinish();
    const auto shown = resultOf(onScreen);
    ASSERT_TRUE(shown);
    EXPECT_FALSE(resultOf(prefetched));
    EXPECT_TRUE(resultOf(another));
    EXPECT_EQ(f.renderer.calls(), QStringList{"next.jpg"});
    EXPECT_EQ(f.renderer.cancelledSeen(), 0);
}

TEST(PreviewPipeline, movingOnByOnePhotoKeepsRunningWorkAndReordersTheWaiting)
{
    // Two slots: u0 and u1 decode, u2 and u3 wait. The user moves to u0 and the screen
    // prefetches u1…u4, each one step more urgent than before. The running decodes are kept,
    // the waiting ones are queued again at their new priorities; nothing is decoded twice.
    Fixture f(2);
    f.renderer.holding = true;
    QList<FileUrl> shots;
    for (int i = 0; i < 6; ++i)
        shots.append(f.file(QStringLiteral("u%1.jpg").arg(i)));
    f.pipeline->prefetch(shots.mid(0, 4), size);
    ASSERT_TRUE(f.renderer.waitForCalls(2));
    QStringList running = f.renderer.calls();
    std::sort(running.begin(), running.end());
    EXPECT_EQ(running, (QStringList{"u0.jpg", "u1.jpg"})) << "slots are granted in the order of the requests";
    while (f.pipeline->decodeSlots().waiterCount() < 2)
        QThread::msleep(1);

    auto onScreen = f.pipeline->preview(shots[0], size, 100);
    f.pipeline->prefetch(shots.mid(1, 4), size);
    const auto snapshot = f.settled();
    ASSERT_EQ(snapshot.inFlightPriorities.size(), 5);
    QList<int> priorities = snapshot.inFlightPriorities.values();
    std::sort(priorities.begin(), priorities.end());
    EXPECT_EQ(priorities, (QList<int>{47, 48, 49, 50, 100}));
    while (f.pipeline->decodeSlots().waiterCount() < 3)
        QThread::msleep(1);
    EXPECT_EQ(f.pipeline->decodeSlots().waiterCount(), 3) << "the superseded waiters left the queue";

    // The first freed slot goes to the nearest waiting photo.
    f.renderer.letOneFinish();
    ASSERT_TRUE(f.renderer.waitForCalls(3));
    EXPECT_EQ(f.renderer.calls().value(2), "u2.jpg");
    f.renderer.letAllFinish();
    EXPECT_TRUE(resultOf(onScreen));
    EXPECT_TRUE(f.renderer.waitUntilIdle());
    while (!f.settled().inFlightPriorities.isEmpty())
        QThread::msleep(1);
    QStringList calls = f.renderer.calls();
    // Two slots: within each pair the renders start in either order.
    std::sort(calls.begin(), calls.begin() + 2);
    std::sort(calls.begin() + 2, calls.end());
    EXPECT_EQ(calls, (QStringList{"u0.jpg", "u1.jpg", "u2.jpg", "u3.jpg", "u4.jpg"}));
    EXPECT_EQ(f.renderer.cancelledSeen(), 0);
    EXPECT_EQ(f.pipeline->decodeSlots().activeCount(), 0);
}

TEST(PreviewPipeline, theUserMovingOnDropsWaitingRendersButKeepsFinishedPixels)
{
    Fixture f(1);
    f.renderer.holding = true;
    const FileUrl decoding = f.file("decoding.jpg"), waiting = f.file("waiting.jpg");
    auto first = f.pipeline->preview(decoding, size, 100);
    ASSERT_TRUE(f.renderer.waitForCalls(1));
    auto second = f.pipeline->preview(waiting, size, 100);
    while (f.pipeline->decodeSlots().waiterCount() == 0)
        QThread::msleep(1);

    // The user pressed on twice: both are dropped and their callers hear nothing.
    f.pipeline->dropInFlight(waiting, size);
    f.pipeline->dropInFlight(decoding, size);
    EXPECT_FALSE(resultOf(first));
    EXPECT_FALSE(resultOf(second));
    EXPECT_TRUE(f.renderer.waitUntilIdle());
    while (!f.settled().inFlightPriorities.isEmpty() || f.pipeline->decodeSlots().activeCount() > 0)
        QThread::msleep(1);
    EXPECT_EQ(f.renderer.calls(), QStringList{"decoding.jpg"}) << "the waiting one never started";

    // A decode that could not stop half-way still delivered its pixels: stepping back finds them.
    // They reach the memory cache on the actor after the slot is given back, so wait for them.
    while (f.settled().memoryCount < 1)
        QThread::msleep(1);
    f.renderer.letAllFinish();
    EXPECT_TRUE(resultOf(f.pipeline->preview(decoding, size, 100)));
    EXPECT_EQ(f.renderer.calls().size(), 1);
    EXPECT_TRUE(resultOf(f.pipeline->preview(waiting, size, 100)));
    EXPECT_EQ(f.renderer.calls().size(), 2);
}

TEST(PreviewPipeline, slotIsReleasedOnEveryPath)
{
    Fixture f(1);
    f.renderer.failing = {"fail.jpg"};
    f.renderer.throwing = {"throw.jpg"};
    EXPECT_FALSE(resultOf(f.pipeline->preview(f.file("fail.jpg"), size, 100)));
    EXPECT_FALSE(resultOf(f.pipeline->preview(f.file("throw.jpg"), size, 100)));

    // Joined while rendering, then dropped (the user moved on): both callers get nothing.
    f.renderer.holding = true;
    const FileUrl s = f.file("s.jpg");
    auto prefetch = f.pipeline->preview(s, size, 49);
    ASSERT_TRUE(f.renderer.waitForCalls(3));
    auto urgent = f.pipeline->preview(s, size, 100);
    f.settled();
    f.pipeline->dropInFlight(s, size);
    EXPECT_FALSE(resultOf(prefetch));
    EXPECT_FALSE(resultOf(urgent));
    // Cancelled while waiting for the slot.
    auto holder = f.pipeline->preview(f.file("holder.jpg"), size, 100);
    ASSERT_TRUE(f.renderer.waitForCalls(4));
    const FileUrl w = f.file("w.jpg");
    auto waiting = f.pipeline->preview(w, size, 46);
    f.settled();
    while (f.pipeline->decodeSlots().waiterCount() == 0)
        QThread::msleep(1);
    f.pipeline->dropInFlight(w, size);
    EXPECT_FALSE(resultOf(waiting));
    f.renderer.letAllFinish();
    EXPECT_TRUE(resultOf(holder));

    EXPECT_TRUE(f.renderer.waitUntilIdle());
    EXPECT_EQ(f.pipeline->decodeSlots().activeCount(), 0);
    EXPECT_EQ(f.pipeline->decodeSlots().waiterCount(), 0);
    EXPECT_GE(f.renderer.cancelledSeen(), 1);
    EXPECT_TRUE(f.settled().inFlightPriorities.isEmpty());
    // Now free: a new request runs at once.
    EXPECT_TRUE(resultOf(f.pipeline->preview(f.file("after.jpg"), size, 100)));
}

TEST(PreviewPipeline, prefetchStartsFiveRendersServedMostUrgentFirst)
{
    Fixture f(1);
    f.renderer.holding = true;
    auto busy = f.pipeline->preview(f.file("busy.jpg"), size, 100);
    ASSERT_TRUE(f.renderer.waitForCalls(1));
    QList<FileUrl> upcoming;
    for (int i = 0; i < 8; ++i)
        upcoming.append(f.file(QStringLiteral("u%1.jpg").arg(i)));
    f.pipeline->prefetch(upcoming, size);
    const auto snapshot = f.settled();
    QList<int> priorities = snapshot.inFlightPriorities.values();
    std::sort(priorities.begin(), priorities.end());
    EXPECT_EQ(priorities, (QList<int>{46, 47, 48, 49, 50, 100}));
    while (f.pipeline->decodeSlots().waiterCount() < 5)
        QThread::msleep(1);
    f.renderer.letAllFinish();
    busy.waitForFinished();
    EXPECT_TRUE(f.renderer.waitUntilIdle());
    while (!f.settled().inFlightPriorities.isEmpty())
        QThread::msleep(1);
    EXPECT_EQ(f.renderer.calls(), (QStringList{"busy.jpg", "u0.jpg", "u1.jpg", "u2.jpg", "u3.jpg", "u4.jpg"}));
}

TEST(PreviewPipeline, cachesServeRepeatsAndATouchedFileMissesBoth)
{
    Fixture f(2, true);
    const FileUrl a = f.file("a.jpg");
    ASSERT_TRUE(resultOf(f.pipeline->preview(a, size, 100)));
    ASSERT_TRUE(resultOf(f.pipeline->preview(a, size, 100)));
    EXPECT_EQ(f.renderer.calls().size(), 1) << "memory hit";
    f.pipeline->waitForDiskCache();

    // A fresh process: memory is empty, the disk cache answers.
    f.pipeline = f.make(2, true);
    const auto fromDisk = resultOf(f.pipeline->preview(a, size, 100));
    ASSERT_TRUE(fromDisk);
    EXPECT_EQ(fromDisk->image.size(), QSize(size, size / 2));
    EXPECT_EQ(f.renderer.calls().size(), 1) << "disk hit";

    const utimbuf times{1000000, 1000000};
    ASSERT_EQ(::utime(QFile::encodeName(a.path()).constData(), &times), 0);
    ASSERT_TRUE(resultOf(f.pipeline->preview(a, size, 100)));
    EXPECT_EQ(f.renderer.calls().size(), 2) << "a touched file is rendered again";
    ASSERT_TRUE(resultOf(f.pipeline->preview(a, 2 * size, 100)));
    EXPECT_EQ(f.renderer.calls().size(), 3) << "another size is another preview";
}

TEST(PreviewPipeline, memoryCacheStaysWithinItsLimits)
{
    TempTree tree;
    FakeRenderer renderer;
    PreviewPipeline::Options options;
    options.renderer = renderer.function();
    options.memoryCountLimit = 4;
    options.memoryByteLimit = 3 * 512 * 256 * 4; // three 512×256 bitmaps
    PreviewPipeline pipeline(std::move(options));
    for (int i = 0; i < 10; ++i)
        ASSERT_TRUE(resultOf(pipeline.preview(FileUrl::fromLocalPath(tree.write(QStringLiteral("%1.jpg").arg(i))), size, 100)));
    const auto snapshot = pipeline.snapshot();
    EXPECT_EQ(snapshot.memoryCount, 3);
    EXPECT_LE(snapshot.memoryCost, 3 * 512 * 256 * 4);
}

TEST(PreviewPipeline, aRemovableVolumeMakesAllDecodingSerial)
{
    Fixture f(2);
    ASSERT_TRUE(resultOf(f.pipeline->preview(f.file("card/a.jpg"), size, 100)));
    f.renderer.holding = true;
    auto b = f.pipeline->preview(f.file("internal/b.jpg"), size, 100);
    auto c = f.pipeline->preview(f.file("internal/c.jpg"), size, 100);
    ASSERT_TRUE(f.renderer.waitForCalls(2));
    while (f.pipeline->decodeSlots().waiterCount() == 0)
        QThread::msleep(1);
    EXPECT_EQ(f.renderer.running(), 1);
    EXPECT_EQ(f.pipeline->decodeSlots().activeCount(), 1);
    f.renderer.letAllFinish();
    EXPECT_TRUE(resultOf(b) && resultOf(c));
}

TEST(PreviewPipeline, teardownWithRendersInProgressEndsEveryRequest)
{
    Fixture f(1);
    f.renderer.holding = true;
    QList<QFuture<PreviewResult>> futures;
    for (int i = 0; i < 6; ++i)
        futures.append(f.pipeline->preview(f.file(QStringLiteral("%1.jpg").arg(i)), size, 50 + i));
    ASSERT_TRUE(f.renderer.waitForCalls(1));
    f.pipeline.reset();
    for (auto& future : futures) {
        EXPECT_TRUE(future.isFinished());
        EXPECT_FALSE(resultOf(future));
    }
}

TEST(PreviewPipeline, teardownAnswersAThumbnailStillWaitingForASharedSlot)
{
    TempTree tree;
    DecodeSlots shared;
    // Another pipeline's picture holds the only slot, and the one for the screen.
    DecodeSlots::Request held = shared.acquire(DecodeSlots::screenPriority, 1);
    ASSERT_TRUE(held.granted.result());
    QFuture<QImage> thumbnail;
    {
        PreviewPipeline::Options options;
        options.decodeSlots = &shared;
        options.thumbnailer = [](const QString&, int) { return QImage(160, 120, QImage::Format_RGB32); };
        PreviewPipeline pipeline(std::move(options));
        thumbnail = pipeline.thumbnail(FileUrl::fromLocalPath(tree.write("a.jpg", "a")), size, DecodeSlots::screenPriority);
        ASSERT_EQ(shared.waiterCount(), 1);
    }
    // Granted after the pipeline is gone, the read would run on workers that no longer exist.
    EXPECT_EQ(shared.waiterCount(), 0);
    ASSERT_TRUE(thumbnail.isFinished());
    EXPECT_TRUE(thumbnail.result().isNull());
    shared.release(DecodeSlots::screenPriority);
}
