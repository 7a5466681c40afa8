// Focus maps in the background: they never take a decode slot ahead of the screen, never push
// the screen's previews out of memory, and are measured once per preview, kept on disk beside
// it.

#include "FakeRenderer.h"
#include "FocusImages.h"
#include "TestSupport.h"

#include "preview/FocusPipeline.h"

#include <QFile>
#include <QThread>
#include <gtest/gtest.h>

#include <atomic>
#include <utime.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

constexpr int size = 256;

FocusResult resultOf(QFuture<FocusResult> future)
{
    future.waitForFinished();
    return future.resultCount() ? future.result() : FocusResult{};
}

// Polls `condition` for up to ten seconds: the pipelines answer on their own threads.
template <class Condition>
bool eventually(Condition condition)
{
    for (int i = 0; i < 5000; ++i) {
        if (condition())
            return true;
        QThread::msleep(2);
    }
    return false;
}

std::unique_ptr<PreviewPipeline> previewPipeline(PreviewPipeline::Renderer renderer, const QString& cacheFolder = {}, int concurrency = 1)
{
    PreviewPipeline::Options options;
    options.renderer = std::move(renderer);
    options.cacheFolder = cacheFolder;
    options.decodeConcurrency = [concurrency](const QString&) { return concurrency; };
    return std::make_unique<PreviewPipeline>(std::move(options));
}

struct CountingMeasure {
    std::atomic<int> count{0};
    std::function<FocusMap(const QImage&)> function()
    {
        return [this](const QImage& image) {
            ++count;
            return measureFocus(image);
        };
    }
};

} // namespace

TEST(FocusPipeline, neverTakesADecodeSlotAheadOfTheScreen)
{
    TempTree tree;
    FakeRenderer renderer;
    renderer.holding = true;
    auto previews = previewPipeline(renderer.function());
    CountingMeasure measure;
    FocusPipeline focus({previews.get(), {}, 64, measure.function()});
    const auto file = [&](const QString& name) { return FileUrl::fromLocalPath(tree.write(name, name.toUtf8())); };

    // The one slot is busy; a focus map needs a render and queues behind it at its priority.
    auto busy = previews->preview(file("busy.jpg"), size, 100);
    ASSERT_TRUE(renderer.waitForCalls(1));
    const FileUrl scored = file("scored.jpg");
    auto scoredFocus = focus.focus(scored, size);
    ASSERT_TRUE(eventually([&] { return previews->snapshot().inFlightPriorities.values().contains(FocusPipeline::priority); }));
    auto onScreen = previews->preview(file("screen.jpg"), size, 100);
    auto prefetch = previews->preview(file("next.jpg"), size, PreviewPipeline::prefetchTopPriority);
    previews->snapshot();
    renderer.letOneFinish();
    renderer.letOneFinish();
    ASSERT_TRUE(renderer.waitForCalls(3));
    EXPECT_EQ(renderer.calls(), (QStringList{"busy.jpg", "screen.jpg", "next.jpg"}));

    // The measure itself waits for a slot too. A screen request starts beside background work
    // at once (an outside holder stands in for one here), and the measure queues behind it.
    renderer.letOneFinish();
    ASSERT_TRUE(renderer.waitForCalls(4));
    EXPECT_EQ(renderer.calls().last(), "scored.jpg");
    DecodeSlots::Request screenHolder = previews->decodeSlots().acquire(DecodeSlots::screenPriority, 1);
    ASSERT_TRUE(screenHolder.granted.isFinished() && screenHolder.granted.result()) << "beside the focus render";
    renderer.letOneFinish();
    ASSERT_TRUE(eventually([&] { return previews->decodeSlots().waiterCount() == 1; })) << "the measure waits";
    auto other = previews->preview(file("other.jpg"), size, 100);
    ASSERT_TRUE(eventually([&] { return previews->decodeSlots().waiterCount() == 2; }));
    previews->decodeSlots().release(DecodeSlots::screenPriority);
    ASSERT_TRUE(renderer.waitForCalls(5));
    EXPECT_EQ(renderer.calls().last(), "other.jpg");
    // Screen renders take turns; the next one still goes before the measure.
    auto later = previews->preview(file("later.jpg"), size, 100);
    ASSERT_TRUE(eventually([&] { return previews->decodeSlots().waiterCount() == 2; }));
    renderer.letOneFinish();
    ASSERT_TRUE(renderer.waitForCalls(6));
    EXPECT_EQ(renderer.calls().last(), "later.jpg");
    EXPECT_EQ(measure.count, 0) << "the screen's render got the slot the measure waited for";

    renderer.letAllFinish();
    const FocusResult map = resultOf(scoredFocus);
    ASSERT_TRUE(map);
    EXPECT_EQ(map->imageSize, QSize(size, size / 2));
    EXPECT_EQ(measure.count, 1);
    for (auto* future : {&busy, &onScreen, &prefetch, &other, &later})
        EXPECT_TRUE(future->result());
    EXPECT_EQ(previews->snapshot().memoryCount, 5) << "the preview rendered for the measure alone stays out of memory";
}

TEST(FocusPipeline, measuresOncePerPreviewAndKeepsTheMapOnDiskBesideIt)
{
    TempTree tree;
    std::atomic<int> renders{0};
    auto renderer = [&renders](const QString&, int maxPixelSize, const PreviewRenderer::CancelCheck&) -> PreviewResult {
        ++renders;
        return PreviewPayload::of(detailedScene(QSize(maxPixelSize, maxPixelSize * 2 / 3)), PreviewSource::decoded);
    };
    const QString cache = tree.path("Previews");
    auto previews = previewPipeline(renderer, cache, 2);
    const FileUrl photo = FileUrl::fromLocalPath(tree.write("IMG_1.JPG", "pixels"));
    const FocusMap expected = measureFocus(detailedScene(QSize(size, size * 2 / 3)));

    CountingMeasure first;
    {
        FocusPipeline focus({previews.get(), cache, 64, first.function()});
        EXPECT_FALSE(focus.cachedFocus(photo, size));
        auto a = focus.focus(photo, size);
        auto b = focus.focus(photo, size);
        EXPECT_EQ(resultOf(a), expected);
        EXPECT_EQ(resultOf(b), expected);
        EXPECT_EQ(focus.cachedFocus(photo, size), expected);
        EXPECT_EQ(resultOf(focus.focus(photo, size)), expected);
    }
    EXPECT_EQ(first.count, 1) << "two requests at once share one measure, a third finds it in memory";
    EXPECT_EQ(renders, 1);
    previews->waitForDiskCache();
    EXPECT_EQ(QDir(cache).entryList({"*.jpg"}).size(), 1) << "the preview rendered for the measure is kept for the screen";

    // A new process finds the map on disk; a damaged or changed file is measured again.
    CountingMeasure second;
    FocusPipeline again({previews.get(), cache, 64, second.function()});
    EXPECT_EQ(resultOf(again.focus(photo, size)), expected);
    EXPECT_EQ(second.count, 0);
    const QStringList maps = QDir(cache).entryList({"*.focus"});
    ASSERT_EQ(maps.size(), 1);
    QFile damaged(cache + '/' + maps[0]);
    ASSERT_TRUE(damaged.open(QIODevice::ReadWrite));
    damaged.resize(damaged.size() - 3);
    damaged.close();
    CountingMeasure third;
    FocusPipeline afterDamage({previews.get(), cache, 64, third.function()});
    const FocusResult remeasured = resultOf(afterDamage.focus(photo, size));
    ASSERT_TRUE(remeasured);
    EXPECT_EQ(third.count, 1);
    EXPECT_EQ(renders, 1) << "measured on the preview cached on disk, the original is not decoded again";
    EXPECT_NEAR(remeasured->score, expected.score, expected.score * 0.2);
    utimbuf times{1000000000, 1000000000};
    ASSERT_EQ(::utime(QFile::encodeName(photo.path()).constData(), &times), 0);
    EXPECT_EQ(resultOf(afterDamage.focus(photo, size)), expected);
    EXPECT_EQ(third.count, 2) << "a touched file is measured again";
    EXPECT_EQ(renders, 2);
}

TEST(FocusPipeline, unreadableFilesCancellationAndTeardownEndEveryRequest)
{
    TempTree tree;
    FakeRenderer renderer;
    renderer.failing = {"broken.jpg"};
    auto previews = previewPipeline(renderer.function());
    const auto file = [&](const QString& name) { return FileUrl::fromLocalPath(tree.write(name, name.toUtf8())); };
    CountingMeasure measure;
    auto focus = std::make_unique<FocusPipeline>(FocusPipeline::Options{previews.get(), {}, 64, measure.function()});
    EXPECT_FALSE(resultOf(focus->focus(file("broken.jpg"), size)));
    EXPECT_FALSE(focus->cachedFocus(file("broken.jpg"), size));

    renderer.holding = true;
    auto busy = previews->preview(file("busy.jpg"), size, 100);
    ASSERT_TRUE(renderer.waitForCalls(3)) << "the broken file was asked for twice, then the busy one";
    auto cancelled = focus->focus(file("a.jpg"), size);
    ASSERT_TRUE(eventually([&] { return previews->snapshot().inFlightPriorities.size() == 2; }));
    focus->cancelPending();
    auto afterCancel = focus->focus(file("b.jpg"), size);
    ASSERT_TRUE(eventually([&] { return previews->snapshot().inFlightPriorities.size() == 3; }));
    renderer.letAllFinish();
    EXPECT_FALSE(resultOf(cancelled));
    EXPECT_TRUE(resultOf(afterCancel)) << "requests after a cancellation run normally";

    renderer.holding = true;
    auto open = focus->focus(file("c.jpg"), size);
    auto held = previews->preview(file("held.jpg"), size, 50);
    ASSERT_TRUE(eventually([&] { return previews->decodeSlots().waiterCount() >= 1; }));
    std::thread release([&] {
        QThread::msleep(50);
        renderer.letAllFinish();
    });
    focus.reset();
    release.join();
    EXPECT_TRUE(open.isFinished());
    EXPECT_LE(measure.count, 2);
}

TEST(FocusPipeline, aFolderNeverFloodsThePreviewPipeline)
{
    TempTree tree;
    FakeRenderer renderer;
    renderer.holding = true;
    auto previews = previewPipeline(renderer.function());
    FocusPipeline focus({previews.get(), {}, 64, &measureFocus});
    QList<QFuture<FocusResult>> futures;
    for (int i = 0; i < 5; ++i)
        futures.append(focus.focus(FileUrl::fromLocalPath(tree.write(QStringLiteral("IMG_%1.JPG").arg(i))), size));
    const auto background = [&] { return previews->snapshot().inFlightPriorities.values().count(FocusPipeline::priority); };
    ASSERT_TRUE(eventually([&] { return background() == FocusPipeline::concurrentMeasures; }));
    QThread::msleep(20);
    EXPECT_EQ(background(), FocusPipeline::concurrentMeasures);

    // Cancelling ends the waiting requests at once, the asked-for previews when they come.
    focus.cancelPending();
    const auto finished = [&] { return std::count_if(futures.begin(), futures.end(), [](const auto& f) { return f.isFinished(); }); };
    EXPECT_TRUE(eventually([&] { return finished() == 5 - FocusPipeline::concurrentMeasures; }));
    renderer.letAllFinish();
    for (auto& future : futures)
        EXPECT_FALSE(resultOf(future));
}

TEST(FocusPipeline, peakingUsesTheMeasuredMapOrMeasuresItself)
{
    TempTree tree;
    auto previews = previewPipeline([](const QString&, int, const PreviewRenderer::CancelCheck&) -> PreviewResult {
        return PreviewPayload::of(detailedScene(QSize(size, size)), PreviewSource::decoded);
    });
    FocusPipeline focus({previews.get(), {}, 64, &measureFocus});
    const FileUrl photo = FileUrl::fromLocalPath(tree.write("a.jpg"));
    const QImage shown = softened(detailedScene(QSize(size, size)), 2);
    // Before the map is measured the overlay measures what is shown; afterwards it uses the map.
    EXPECT_EQ(focus.peaking(shown, photo, size, Qt::green).result(), focusPeaking(shown, measureFocus(shown), Qt::green));
    const FocusResult map = resultOf(focus.focus(photo, size));
    ASSERT_TRUE(map);
    EXPECT_EQ(focus.peaking(shown, photo, size, Qt::green).result(), focusPeaking(shown, *map, Qt::green));
}

TEST(FocusCache, decodesOnlyWholeConsistentMaps)
{
    const FocusMap map = measureFocus(detailedScene(QSize(120, 80)));
    const QByteArray bytes = FocusCache::encode(map);
    EXPECT_EQ(FocusCache::decode(bytes), map);
    EXPECT_FALSE(FocusCache::decode(bytes.left(bytes.size() - 1)));
    EXPECT_FALSE(FocusCache::decode(bytes + "x"));
    EXPECT_FALSE(FocusCache::decode(QByteArray(64, '\0')));
    FocusMap huge = map;
    huge.tiles = QSize(100000, 100000);
    EXPECT_FALSE(FocusCache::decode(FocusCache::encode(huge)));
    // A value count beyond the grid is refused before anything is allocated for it.
    QByteArray lying = bytes;
    const qsizetype countAt = bytes.size() - 4 * map.values.size() - 4;
    lying[countAt] = char(0x7f);
    EXPECT_FALSE(FocusCache::decode(lying));
}
