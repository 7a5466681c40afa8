// Every read of a photo file waits in one queue: audit-list thumbnails and the inspector's
// EXIF read stand behind the picture on screen, and a request nobody wants any more leaves the
// queue without opening its file.

#include "FakeRenderer.h"

#include "preview/PreviewPipeline.h"
#include "ui/PhotoDetails.h"
#include "ui/ThumbnailProvider.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QQuickImageResponse>
#include <gtest/gtest.h>

#include <mutex>

using namespace kestrava;
using namespace kestrava::test;

namespace {

bool waitUntil(const std::function<bool()>& condition)
{
    QDeadlineTimer deadline(30'000);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    return true;
}

// One card reader: a single slot shared by the screen's pipeline and the thumbnails'.
struct OneReader {
    DecodeSlots decodeSlots;
    FakeRenderer renderer;
    std::shared_ptr<PreviewPipeline> screen = make();
    std::shared_ptr<PreviewPipeline> thumbnails = make();
    ThumbnailProvider provider{thumbnails};

    OneReader() { renderer.holding = true; }
    ~OneReader() { renderer.letAllFinish(); }

    std::shared_ptr<PreviewPipeline> make()
    {
        PreviewPipeline::Options options;
        options.renderer = renderer.function();
        options.decodeSlots = &decodeSlots;
        options.decodeConcurrency = [](const QString&) { return 1; };
        return std::make_shared<PreviewPipeline>(std::move(options));
    }

    std::unique_ptr<QQuickImageResponse> thumbnail(const QString& name)
    {
        const QString id = ThumbnailProvider::urlFor("/Karte/DCIM/" + name).section('/', 3);
        return std::unique_ptr<QQuickImageResponse>(provider.requestImageResponse(id, QSize(192, 192)));
    }
};

} // namespace

TEST(ReadQueue, theScreensPictureIsReadAtOnceWhileThumbnailsFillTheQueue)
{
    OneReader reader;
    std::vector<std::unique_ptr<QQuickImageResponse>> rows;
    for (int i = 0; i < 6; ++i)
        rows.push_back(reader.thumbnail(QString("row%1.jpg").arg(i)));
    ASSERT_TRUE(reader.renderer.waitForCalls(1));
    ASSERT_TRUE(waitUntil([&] { return reader.decodeSlots.waiterCount() == 5; }));

    QFuture<PreviewResult> picture = reader.screen->preview(FileUrl::fromLocalPath("/Karte/DCIM/shown.jpg"), 2048, 100);
    // The screen takes its own slot beside the thumbnail already reading, ahead of the queue.
    ASSERT_TRUE(reader.renderer.waitForCalls(2));
    EXPECT_EQ(reader.decodeSlots.waiterCount(), 5);
    reader.renderer.letAllFinish();
    ASSERT_TRUE(waitUntil([&] { return picture.isFinished(); }));
    ASSERT_TRUE(reader.renderer.waitForCalls(7));
    const QStringList calls = reader.renderer.calls();
    EXPECT_EQ(calls[0], "row0.jpg") << "the thumbnail already reading is not interrupted";
    EXPECT_EQ(calls[1], "shown.jpg") << calls.join(", ").toStdString();
    ASSERT_TRUE(picture.result());
}

TEST(ReadQueue, aThumbnailScrolledOutOfViewNeverReadsItsFile)
{
    OneReader reader;
    QFuture<PreviewResult> picture = reader.screen->preview(FileUrl::fromLocalPath("/Karte/DCIM/shown.jpg"), 2048, 100);
    ASSERT_TRUE(reader.renderer.waitForCalls(1));
    auto gone = reader.thumbnail("gone.jpg");
    auto kept = reader.thumbnail("kept.jpg");
    ASSERT_TRUE(waitUntil([&] { return reader.decodeSlots.waiterCount() == 2; }));
    bool goneFinished = false;
    QObject::connect(gone.get(), &QQuickImageResponse::finished, [&] { goneFinished = true; });
    bool keptFinished = false;
    QObject::connect(kept.get(), &QQuickImageResponse::finished, [&] { keptFinished = true; });

    gone->cancel();
    EXPECT_TRUE(waitUntil([&] { return goneFinished; })) << "the engine waits for finished() after cancel()";
    EXPECT_TRUE(waitUntil([&] { return reader.decodeSlots.waiterCount() == 1; })) << "it left the queue";
    reader.renderer.letAllFinish();
    ASSERT_TRUE(waitUntil([&] { return keptFinished; }));
    EXPECT_EQ(reader.renderer.calls(), (QStringList{"shown.jpg", "kept.jpg"}));
    EXPECT_TRUE(gone->errorString().size() > 0);
    EXPECT_TRUE(kept->errorString().isEmpty());
    EXPECT_EQ(reader.decodeSlots.activeCount(), 0);
}

TEST(ReadQueue, theInspectorWaitsForTheReaderAndSkipsPhotosTheUserLeft)
{
    DecodeSlots decodeSlots;
    std::mutex mutex;
    QStringList opened;
    PhotoDetails::Reading reading;
    reading.decodeSlots = &decodeSlots;
    reading.decodeConcurrency = [](const QString&) { return 1; };
    reading.onRead = [&](const QString& path) {
        std::lock_guard lock(mutex);
        opened.append(path.section('/', -1));
    };
    PhotoDetails details(reading);

    // The picture on screen holds the only slot while the user steps through three photos.
    ASSERT_TRUE(decodeSlots.acquireBlocking(100, 1, {}));
    details.setPath("/Karte/DCIM/a.jpg");
    ASSERT_TRUE(waitUntil([&] { return decodeSlots.waiterCount() == 1; }));
    details.setPath("/Karte/DCIM/b.jpg");
    details.setPath("/Karte/DCIM/c.jpg");
    EXPECT_TRUE(details.isReading());
    decodeSlots.release(100);

    ASSERT_TRUE(waitUntil([&] { return !details.isReading(); }));
    EXPECT_FALSE(details.lines().isEmpty());
    std::lock_guard lock(mutex);
    EXPECT_EQ(opened, QStringList{"c.jpg"});
    EXPECT_EQ(decodeSlots.activeCount(), 0);
}
