// What the review stage costs the frame that shows a new picture: when that frame comes, and
// what the scene graph has to draw in it.

#include "ui/PreviewStageItem.h"

#include <QElapsedTimer>
#include <QQuickWindow>
#include <QSGRendererInterface>
#include <QSignalSpy>
#include <gtest/gtest.h>

using namespace kestrava;

namespace {

QImage filled(int width, int height, Qt::GlobalColor colour)
{
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(colour);
    return image;
}

// A window with nothing but the stage, on screen and past its first frames.
struct StageWindow {
    QQuickWindow window;
    PreviewStageItem* stage = new PreviewStageItem(window.contentItem());

    explicit StageWindow(QSize size)
    {
        window.resize(size);
        stage->setSize(size);
        window.show();
        QSignalSpy swapped(&window, &QQuickWindow::frameSwapped);
        swapped.wait(3000);
    }
    bool softwareRendered() const
    {
        return window.rendererInterface()->graphicsApi() == QSGRendererInterface::Software;
    }
    // Milliseconds from `change` to the next frame on screen, -1 without one.
    qint64 msToFrame(const std::function<void()>& change)
    {
        QSignalSpy swapped(&window, &QQuickWindow::frameSwapped);
        QElapsedTimer clock;
        clock.start();
        change();
        return swapped.wait(5000) ? clock.elapsed() : -1;
    }
};

} // namespace

TEST(StageFrame, aNewPictureIsOnScreenWithoutWaitingForThePlatformsIdleTime)
{
    // The platform reads its idle time once per process, at the first frame asked for.
    qputenv("QT_QPA_UPDATE_IDLE_TIME", "1000");
    StageWindow shown(QSize(400, 300));
    if (!shown.softwareRendered())
        GTEST_SKIP() << "only the software scene graph waits for an idle time between frames";
    if (shown.msToFrame([&] { shown.window.update(); }) < 800)
        GTEST_SKIP() << "the platform had read its idle time before this test set it";

    const qint64 ms = shown.msToFrame([&] { shown.stage->setImage(filled(800, 600, Qt::darkGreen)); });
    ASSERT_GE(ms, 0);
    EXPECT_LT(ms, 500);
}

TEST(StageFrame, theFittedStageDrawsTheCopyMadeForItsBoxAndZoomDrawsTheFullPicture)
{
    PreviewStageItem stage;
    stage.setSize(QSizeF(500, 400));
    ASSERT_EQ(stage.fitBox(), QSize(500, 400));
    const QImage full = filled(2000, 1000, Qt::black);
    const QImage copy = filled(500, 250, Qt::red);
    stage.showPicture(full, false, copy);
    EXPECT_EQ(stage.drawnPicture().cacheKey(), copy.cacheKey());

    stage.toggleZoom(QPointF(250, 200));
    EXPECT_EQ(stage.drawnPicture().cacheKey(), full.cacheKey()) << "100 % shows the preview's own pixels";
    EXPECT_EQ(stage.fitBox(), QSize(500, 400));
    stage.resetZoom();
    EXPECT_EQ(stage.drawnPicture().cacheKey(), copy.cacheKey());

    // Resized, the copy no longer has the picture's size on screen: the full picture is drawn
    // until a copy for the new box comes.
    stage.setSize(QSizeF(800, 600));
    EXPECT_EQ(stage.fitBox(), QSize(800, 600));
    EXPECT_EQ(stage.drawnPicture().cacheKey(), full.cacheKey());
    stage.setSize(QSizeF(500, 400));

    // The next photo shown without a copy of its own is never drawn from the previous one's.
    const QImage next = filled(2000, 1000, Qt::white);
    stage.showPicture(next, false);
    EXPECT_EQ(stage.drawnPicture().cacheKey(), next.cacheKey());
}

TEST(StageFrame, theCopyIsWhatTheWindowShowsWhereThePictureIs)
{
    StageWindow shown(QSize(400, 300));
    const QImage full = filled(1600, 800, Qt::green);
    const QSize box = shown.stage->fitBox();
    ASSERT_EQ(box, QSize(400, 300) * shown.window.effectiveDevicePixelRatio());
    shown.stage->showPicture(full, false, filled(box.width(), box.width() / 2, Qt::red));
    QImage frame = shown.window.grabWindow();
    const double s = frame.width() / 400.0;
    const QRectF picture = shown.stage->imageRect();
    EXPECT_EQ(frame.pixelColor((picture.center() * s).toPoint()), QColor(Qt::red));
    EXPECT_EQ(frame.pixelColor((picture.topLeft() * s).toPoint()), QColor(Qt::red)) << "the copy covers the whole picture";
    EXPECT_NE(frame.pixelColor(((picture.topLeft() - QPointF(0, 2)) * s).toPoint()), QColor(Qt::red)) << "and no more";

    shown.stage->toggleZoom(picture.center());
    frame = shown.window.grabWindow();
    EXPECT_EQ(frame.pixelColor(QPoint(frame.width() / 2, frame.height() / 2)), QColor(Qt::green));
}
