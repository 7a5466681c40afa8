#include "FakeRenderer.h"
#include "TestSupport.h"

#include "preview/PhotoPreviewLoader.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QTest>
#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>

using namespace kestrava;
using namespace kestrava::test;

namespace {

// The limit only stops a hang; a loaded machine may need many seconds.
constexpr int patienceMs = 60000;

// Stands in for the files' embedded thumbnails: a small picture per call, held while asked to.
struct FakeThumbnails {
    std::mutex mutex;
    std::condition_variable changed;
    bool holding = false;
    QStringList calls;
    int finished = 0;

    std::function<QImage(const QString&, int)> function()
    {
        return [this](const QString& path, int) {
            std::unique_lock lock(mutex);
            calls.append(QFileInfo(path).fileName());
            changed.wait(lock, [this] { return !holding; });
            ++finished;
            QImage image(160, 120, QImage::Format_RGB32);
            image.fill(Qt::darkGray);
            return image;
        };
    }
    void release()
    {
        {
            std::lock_guard lock(mutex);
            holding = false;
        }
        changed.notify_all();
    }
    int finishedCount()
    {
        std::lock_guard lock(mutex);
        return finished;
    }
    QStringList called()
    {
        std::lock_guard lock(mutex);
        return calls;
    }
};

struct LoaderFixture {
    TempTree tree;
    FakeRenderer renderer;
    FakeThumbnails thumbnails;
    int concurrency = 1;
    std::unique_ptr<PreviewPipeline> pipeline;
    std::unique_ptr<PhotoPreviewLoader> loader;
    QList<QPair<QString, PreviewLoadState>> reports;

    LoaderFixture()
    {
        PreviewPipeline::Options options;
        options.renderer = renderer.function();
        options.decodeConcurrency = [this](const QString&) { return concurrency; };
        options.thumbnailer = thumbnails.function();
        pipeline = std::make_unique<PreviewPipeline>(std::move(options));
        loader = std::make_unique<PhotoPreviewLoader>(*pipeline);
        loader->setTargetPixelSizeOverride(1024);
    }
    ~LoaderFixture()
    {
        renderer.letAllFinish();
        thumbnails.release();
        loader.reset();
        pipeline.reset();
    }
    FileUrl file(const QString& name) { return FileUrl::fromLocalPath(tree.write(name, name.toUtf8())); }
    PhotoPreviewLoader::ReadyCallback recorder()
    {
        return [this](const FileUrl& url, PreviewLoadState state) { reports.append({url.fileName(), state}); };
    }
    bool waitUntilNotLoading()
    {
        return QTest::qWaitFor([this] { return !loader->isLoading(); }, patienceMs);
    }
};

} // namespace

TEST(PhotoPreviewLoader, showsTheImageAndReportsReadiness)
{
    LoaderFixture f;
    const FileUrl a = f.file("a.jpg");
    f.loader->load(a, f.recorder());
    EXPECT_TRUE(f.loader->isLoading());
    EXPECT_TRUE(f.loader->image().isNull());
    ASSERT_TRUE(f.waitUntilNotLoading());
    EXPECT_FALSE(f.loader->image().isNull());
    EXPECT_EQ(f.loader->image().width(), 1024);
    EXPECT_FALSE(f.loader->didFail());
    EXPECT_EQ(f.reports, (QList<QPair<QString, PreviewLoadState>>{{"a.jpg", PreviewLoadState::loading}, {"a.jpg", PreviewLoadState::shown}}));
}

TEST(PhotoPreviewLoader, failureSetsDidFailAndClearForgetsEverything)
{
    LoaderFixture f;
    f.renderer.failing = {"bad.jpg"};
    f.loader->load(f.file("bad.jpg"), f.recorder());
    ASSERT_TRUE(f.waitUntilNotLoading());
    EXPECT_TRUE(f.loader->didFail());
    EXPECT_TRUE(f.loader->image().isNull());
    EXPECT_EQ(f.reports.last(), (QPair<QString, PreviewLoadState>{"bad.jpg", PreviewLoadState::failed}));

    f.loader->clear();
    EXPECT_FALSE(f.loader->didFail());
    EXPECT_FALSE(f.loader->isLoading());
    EXPECT_FALSE(f.loader->requestedURL());
}

TEST(PhotoPreviewLoader, fastKeyPressesOnlyTheLastPhotoReports)
{
    LoaderFixture f;
    f.renderer.holding = true;
    QList<FileUrl> photos;
    for (int i = 0; i < 5; ++i)
        photos.append(f.file(QStringLiteral("p%1.jpg").arg(i)));
    // The first photo is decoding in the only slot when the user presses on.
    f.loader->load(photos[0], f.recorder());
    ASSERT_TRUE(f.renderer.waitForCalls(1));
    // An urgent outside holder queues for the slot ahead of the photos still to come, so the
    // slot cannot pass to a photo the user leaves before its drop reaches the pipeline.
    DecodeSlots::Request gate = f.pipeline->decodeSlots().acquire(1000, 1);
    for (qsizetype i = 1; i < photos.size(); ++i)
        f.loader->load(photos[i], f.recorder());
    // Every drop has been handled once the pipeline answers; the decode of the first photo
    // notices it and gives the slot to the gate.
    f.pipeline->snapshot();
    ASSERT_TRUE(QTest::qWaitFor([&] { return gate.granted.isFinished(); }, patienceMs));
    ASSERT_TRUE(gate.granted.result());
    f.pipeline->decodeSlots().release(1000);
    f.renderer.letAllFinish();
    ASSERT_TRUE(f.waitUntilNotLoading());
    // Let any stale result that is still on its way arrive, then check it changed nothing.
    f.pipeline->snapshot();
    QCoreApplication::processEvents();
    QList<QPair<QString, PreviewLoadState>> finished;
    for (const auto& report : f.reports)
        if (report.second != PreviewLoadState::loading)
            finished.append(report);
    EXPECT_EQ(finished, (QList<QPair<QString, PreviewLoadState>>{{"p4.jpg", PreviewLoadState::shown}}));
    EXPECT_EQ(f.loader->requestedURL(), photos.last());
    EXPECT_FALSE(f.loader->image().isNull());
    // The abandoned decode was stopped rather than run to the end, and the photos passed over
    // while it ran never reached the renderer.
    EXPECT_EQ(f.renderer.calls(), (QStringList{"p0.jpg", "p4.jpg"}));
    EXPECT_EQ(f.renderer.cancelledSeen(), 1);
    ASSERT_TRUE(QTest::qWaitFor([&] { return f.pipeline->decodeSlots().activeCount() == 0; }, patienceMs));
    EXPECT_EQ(f.pipeline->decodeSlots().waiterCount(), 0);
}

TEST(PhotoPreviewLoader, lateResultForALeftPhotoIsDropped)
{
    LoaderFixture f;
    f.renderer.holding = true;
    const FileUrl first = f.file("first.jpg");
    f.loader->load(first, f.recorder());
    ASSERT_TRUE(f.renderer.waitForCalls(1));
    f.loader->clear();
    f.renderer.letAllFinish();
    f.pipeline->snapshot();
    QCoreApplication::processEvents();
    EXPECT_TRUE(f.loader->image().isNull());
    EXPECT_FALSE(f.loader->isLoading());
    EXPECT_EQ(f.reports, (QList<QPair<QString, PreviewLoadState>>{{"first.jpg", PreviewLoadState::loading}}));
}

TEST(PhotoPreviewLoader, aThumbnailStandsInWhileThePreviewRendersAndAFailureClearsIt)
{
    LoaderFixture f;
    f.loader->setShowsThumbnails(true);
    f.renderer.holding = true;
    f.renderer.failing = {"bad.jpg"};
    f.loader->load(f.file("a.jpg"), f.recorder());
    ASSERT_TRUE(QTest::qWaitFor([&] { return !f.loader->image().isNull(); }, patienceMs));
    EXPECT_TRUE(f.loader->showsThumbnail());
    EXPECT_TRUE(f.loader->isLoading());
    EXPECT_EQ(f.loader->image().width(), 160);
    EXPECT_EQ(f.reports, (QList<QPair<QString, PreviewLoadState>>{{"a.jpg", PreviewLoadState::loading}}));

    f.renderer.letAllFinish();
    ASSERT_TRUE(f.waitUntilNotLoading());
    EXPECT_FALSE(f.loader->showsThumbnail());
    EXPECT_EQ(f.loader->image().width(), 1024);
    EXPECT_EQ(f.reports.last(), (QPair<QString, PreviewLoadState>{"a.jpg", PreviewLoadState::shown}));

    // A file whose preview cannot be rendered shows no picture at all, its thumbnail neither.
    f.renderer.holding = true;
    f.loader->load(f.file("bad.jpg"), f.recorder());
    ASSERT_TRUE(QTest::qWaitFor([&] { return f.loader->showsThumbnail(); }, patienceMs));
    f.renderer.letAllFinish();
    ASSERT_TRUE(f.waitUntilNotLoading());
    EXPECT_TRUE(f.loader->didFail());
    EXPECT_TRUE(f.loader->image().isNull());
    EXPECT_FALSE(f.loader->showsThumbnail());
}

TEST(PhotoPreviewLoader, aThumbnailLaterThanThePreviewOrForAPreviewInMemoryIsNeverShown)
{
    LoaderFixture f;
    f.concurrency = 2; // the thumbnail and the render each in a slot of their own
    f.loader->setShowsThumbnails(true);
    f.thumbnails.holding = true;
    const FileUrl a = f.file("a.jpg");
    f.loader->load(a, f.recorder());
    ASSERT_TRUE(f.waitUntilNotLoading());
    f.thumbnails.release();
    ASSERT_TRUE(QTest::qWaitFor([&] { return f.thumbnails.finishedCount() == 1; }, patienceMs));
    QTest::qWait(20); // the thumbnail's answer, had it been taken, arrives by now
    EXPECT_FALSE(f.loader->showsThumbnail());
    EXPECT_EQ(f.loader->image().width(), 1024);

    // Back to a photo whose preview is in memory: it is shown at once, nothing stands in.
    f.loader->load(f.file("b.jpg"), f.recorder());
    ASSERT_TRUE(f.waitUntilNotLoading());
    ASSERT_TRUE(QTest::qWaitFor([&] { return f.thumbnails.finishedCount() == 2; }, patienceMs));
    f.loader->load(a, f.recorder());
    ASSERT_TRUE(f.waitUntilNotLoading());
    EXPECT_FALSE(f.loader->showsThumbnail());
    EXPECT_EQ(f.loader->image().width(), 1024);
    EXPECT_FALSE(QTest::qWaitFor([&] { return f.thumbnails.called().size() > 2; }, 200)) << "a thumbnail read for a photo in memory";
}

TEST(PhotoPreviewLoader, aPreviewInMemoryIsOnShowAtOnceAndReportedOnlyAfterLoadReturns)
{
    LoaderFixture f;
    const FileUrl a = f.file("a.jpg");
    // Written once: a file written again is another picture to the caches.
    const FileUrl b = f.file("b.jpg");
    f.loader->load(a, f.recorder());
    ASSERT_TRUE(f.waitUntilNotLoading());
    f.loader->load(b, f.recorder());
    ASSERT_TRUE(f.waitUntilNotLoading());
    f.reports.clear();

    f.loader->load(a, f.recorder());
    EXPECT_FALSE(f.loader->isLoading());
    EXPECT_EQ(f.loader->image().width(), 1024);
    // A caller that withdraws readiness right after moving on must not lose this one.
    EXPECT_EQ(f.reports, (QList<QPair<QString, PreviewLoadState>>{{"a.jpg", PreviewLoadState::loading}}));
    ASSERT_TRUE(QTest::qWaitFor([&] { return f.reports.size() == 2; }, patienceMs));
    EXPECT_EQ(f.reports.last(), (QPair<QString, PreviewLoadState>{"a.jpg", PreviewLoadState::shown}));

    // Moving on before that report arrives drops it.
    f.reports.clear();
    f.loader->load(b, f.recorder());
    f.loader->clear();
    QCoreApplication::processEvents();
    EXPECT_EQ(f.reports, (QList<QPair<QString, PreviewLoadState>>{{"b.jpg", PreviewLoadState::loading}}));
    EXPECT_EQ(f.renderer.calls(), (QStringList{"a.jpg", "b.jpg"}));
}

TEST(PhotoPreviewLoader, targetSizeFollowsTheScreenWithinBounds)
{
    EXPECT_EQ(PhotoPreviewLoader::targetPixelSizeFor({1440, 900}, 2), 2048);
    EXPECT_EQ(PhotoPreviewLoader::targetPixelSizeFor({1440, 900}, 1), 1440);
    EXPECT_EQ(PhotoPreviewLoader::targetPixelSizeFor({800, 600}, 1), 1024);
    EXPECT_EQ(PhotoPreviewLoader::targetPixelSizeFor({900, 1600}, 1.25), 2000);
}

TEST(PhotoPreviewLoader, aPrefetchedPhotoComesWithItsCopyForTheFitBox)
{
    LoaderFixture f;
    f.loader->setFitBox(QSize(400, 300));
    const FileUrl a = f.file("a.jpg");
    const FileUrl b = f.file("b.jpg");
    f.loader->prefetch({a, b});
    ASSERT_TRUE(QTest::qWaitFor([&] { return f.loader->hasFittedCopy(a) && f.loader->hasFittedCopy(b); }, patienceMs));
    f.loader->load(b, f.recorder());
    EXPECT_FALSE(f.loader->isLoading());
    EXPECT_EQ(f.loader->image().size(), QSize(1024, 512)) << "100 % and focus peaking keep the full preview";
    EXPECT_EQ(f.loader->fittedImage().size(), QSize(400, 200));
}

TEST(PhotoPreviewLoader, aNewFitBoxReplacesTheCopyOfThePictureOnShow)
{
    LoaderFixture f;
    f.loader->setFitBox(QSize(400, 300));
    f.loader->load(f.file("a.jpg"), f.recorder());
    ASSERT_TRUE(f.waitUntilNotLoading());
    ASSERT_TRUE(QTest::qWaitFor([&] { return !f.loader->fittedImage().isNull(); }, patienceMs));
    EXPECT_EQ(f.loader->fittedImage().size(), QSize(400, 200));

    f.loader->setFitBox(QSize(200, 200));
    EXPECT_TRUE(f.loader->fittedImage().isNull()) << "a copy for the old box is drawn at the wrong size";
    ASSERT_TRUE(QTest::qWaitFor([&] { return !f.loader->fittedImage().isNull(); }, patienceMs));
    EXPECT_EQ(f.loader->fittedImage().size(), QSize(200, 100));

    // A box the picture fits as it is needs no copy.
    f.loader->setFitBox(QSize(2000, 2000));
    EXPECT_FALSE(QTest::qWaitFor([&] { return !f.loader->fittedImage().isNull(); }, 200));
}
