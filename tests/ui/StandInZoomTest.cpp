// A zoom asked for while the camera's thumbnail stands in for the preview waits for the
// preview, and lands on the spot the user pointed at.

#include "ui/PreviewStageItem.h"

#include <gtest/gtest.h>

using namespace kestrava;

namespace {

QImage filled(int width, int height, Qt::GlobalColor colour)
{
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(colour);
    return image;
}

} // namespace

TEST(StandInZoom, aZoomOverTheThumbnailIsAppliedToThePreviewOnTheSameSpot)
{
    PreviewStageItem stage;
    stage.setSize(QSizeF(1000, 500));
    stage.showPicture(filled(160, 80, Qt::gray), true);
    const QPointF pointer(750, 125); // three quarters across, a quarter down
    stage.toggleZoom(pointer);
    EXPECT_FALSE(stage.zoomed()) << "a 160-pixel thumbnail is not worth inspecting at 100 %";
    EXPECT_TRUE(stage.zoomPending());

    stage.showPicture(filled(2000, 1000, Qt::black), false);
    ASSERT_TRUE(stage.zoomed());
    EXPECT_FALSE(stage.zoomPending());
    EXPECT_EQ(stage.imageRect().topLeft() + QPointF(1500, 250), pointer);

    // Z again now works on the preview itself.
    stage.toggleZoom(pointer);
    EXPECT_FALSE(stage.zoomed());
}

TEST(StandInZoom, aWaitingZoomIsTakenBackOrDroppedWithThePhoto)
{
    PreviewStageItem stage;
    stage.setSize(QSizeF(1000, 500));

    // Z twice before the preview came: nothing is left to do.
    stage.showPicture(filled(160, 80, Qt::gray), true);
    stage.toggleZoom(QPointF(500, 250));
    stage.toggleZoom(QPointF(500, 250));
    stage.showPicture(filled(2000, 1000, Qt::black), false);
    EXPECT_FALSE(stage.zoomed());

    // The user moved on before the preview came: the next photo starts fitted.
    stage.showPicture(filled(160, 80, Qt::gray), true);
    stage.toggleZoom(QPointF(500, 250));
    stage.showPicture(filled(160, 80, Qt::darkGray), true);
    EXPECT_FALSE(stage.zoomPending());
    stage.showPicture(filled(2000, 1000, Qt::white), false);
    EXPECT_FALSE(stage.zoomed());

    // The preview could not be rendered: nothing to zoom, and nothing waits for the next one.
    stage.showPicture(filled(160, 80, Qt::gray), true);
    stage.toggleZoom(QPointF(500, 250));
    stage.showPicture(QImage(), false);
    stage.showPicture(filled(2000, 1000, Qt::black), false);
    EXPECT_FALSE(stage.zoomed());
}
