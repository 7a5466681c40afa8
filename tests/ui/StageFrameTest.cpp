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
