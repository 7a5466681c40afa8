// Ending the pipelines while they work, as the application does when it quits: every request
// is answered, a cache entry is whole or absent, and a closed pipeline stays harmless.

#include "FakeRenderer.h"
#include "TestJpegs.h"
#include "TestSupport.h"

#include "preview/FocusPipeline.h"
#include "preview/PreviewPipeline.h"

#include <QDir>
#include <QElapsedTimer>
#include <QImageReader>
#include <QThread>
#include <gtest/gtest.h>

#include <atomic>

using namespace kestrava;
using namespace kestrava::test;

namespace {

constexpr int size = 384;

// Every entry under its final name decodes; hidden temporaries may stay behind.
void expectOnlyWholeEntries(const QString& folder)
{
    const QFileInfoList entries = QDir(folder).entryInfoList(QDir::Files | QDir::NoDotAndDotDot);
    for (const QFileInfo& entry : entries) {
        QImageReader reader(entry.filePath());
        EXPECT_FALSE(reader.read().isNull()) << qPrintable(entry.fileName()) << " is not a whole preview";
    }
}

} // namespace

TEST(PipelineClosing, closingWhileDecodingAndWritingTheCacheAnswersEverythingAndLeavesWholeEntries)
{
    TempTree tree;
    QList<FileUrl> files;
    for (int i = 0; i < 6; ++i) {
        QImage image(1600, 1200, QImage::Format_RGB32);
        image.fill(QColor::fromHsv(i * 50, 200, 200));
        files.append(FileUrl::fromLocalPath(tree.write(QStringLiteral("p%1.jpg").arg(i), jpegWithExif(image))));
    }
#ifdef KESTRAVA_SANITIZED
    constexpr int rounds = 8;
#else
    constexpr int rounds = 30;
#endif
    for (int round = 0; round < rounds; ++round) {
        // A fresh cache folder each round: every round writes, none only reads.
        const QString cacheFolder = tree.path(QStringLiteral("Previews%1").arg(round));
        PreviewPipeline::Options options;
        options.cacheFolder = cacheFolder;
        PreviewPipeline previews(std::move(options));
        FocusPipeline::Options focusOptions;
        focusOptions.previews = &previews;
        FocusPipeline focus(std::move(focusOptions));

        QList<QFuture<PreviewResult>> pending;
        QList<QFuture<FocusResult>> measures;
        for (const FileUrl& url : std::as_const(files)) {
            previews.thumbnail(url, size, 100);
            pending.append(previews.preview(url, size, 50));
            measures.append(focus.focus(url, size));
        }
        // Round by round a little later, so the end meets decodes, measures and cache writes.
        QThread::usleep(unsigned(round % 10) * 3000);
        // In the application's order: the previews first, so no measure waits for one.
        previews.close(std::chrono::seconds(20));
        focus.close(std::chrono::seconds(20));

        for (auto& future : pending)
            EXPECT_TRUE(future.isFinished());
        for (auto& future : measures)
            EXPECT_TRUE(future.isFinished());
        expectOnlyWholeEntries(cacheFolder);
        // Screens still alive after the end ask on: they get nothing, at once.
        QFuture<PreviewResult> late = previews.preview(files.first(), size, 100);
        ASSERT_TRUE(late.isFinished());
        EXPECT_FALSE(late.result());
        QFuture<QImage> overlay = focus.peaking(QImage(8, 8, QImage::Format_RGB32), files.first(), size);
        ASSERT_TRUE(overlay.isFinished());
        EXPECT_TRUE(overlay.result().isNull());
        EXPECT_TRUE(focus.focus(files.first(), size).isFinished());
    }
}

TEST(PipelineClosing, closingGivesUpWaitingForARenderThatWillNotStop)
{
    // A decode cannot be interrupted; quitting must not hang on one that never ends.
    std::atomic<bool> release{false};
    PreviewPipeline::Options options;
    options.renderer = [&release](const QString&, int, const PreviewRenderer::CancelCheck&) -> PreviewResult {
        while (!release)
            QThread::msleep(1);
        return std::nullopt;
    };
    options.decodeConcurrency = [](const QString&) { return 2; };
    TempTree tree;
    PreviewPipeline pipeline(std::move(options));
    QFuture<PreviewResult> stuck = pipeline.preview(FileUrl::fromLocalPath(tree.write("a.jpg", "a")), size, 100);
    for (int i = 0; i < 5000 && pipeline.decodeSlots().activeCount() == 0; ++i)
        QThread::msleep(2);
    ASSERT_EQ(pipeline.decodeSlots().activeCount(), 1);

    QElapsedTimer waited;
    waited.start();
    pipeline.close(std::chrono::milliseconds(200));
    EXPECT_LT(waited.elapsed(), 5000);
    EXPECT_TRUE(stuck.isFinished()); // its caller was answered when the pipeline closed
    release = true;                  // the destructor then waits for it to end
}
