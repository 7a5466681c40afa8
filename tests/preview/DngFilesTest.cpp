// Generated DNG partners run the whole RAW path: LibRaw finds the embedded preview, a preview
// far smaller than asked is replaced by a development of the mosaic, and the capture date is read.

#include "TestJpegs.h"
#include "TestSupport.h"

#include "preview/ExifDates.h"
#include "preview/PreviewRenderer.h"
#include "scanning/generator/DngWriter.h"

#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

const shootgen::CameraTags tags{"Kestrava", "Test DNG", QDateTime(QDate(2023, 7, 14), QTime(18, 3, 55)), 12};

} // namespace

TEST(GeneratedDng, embeddedPreviewServesWhenLargeEnough)
{
    TempTree tree;
    const QString path = tree.write("IMG_0001.DNG", shootgen::dngBytes(leftRedRightBlue(1200, 800), tags, {{600, 400}, 1024, 85, 1}));
    const auto payload = PreviewRenderer::render(path, 1024);
    ASSERT_TRUE(payload);
    EXPECT_EQ(payload->source, PreviewSource::embedded);
    EXPECT_EQ(payload->image.size(), QSize(1024, 682));
    EXPECT_EQ(colourAt(payload->image, 0.1, 0.5), 'r');
    EXPECT_EQ(readCaptureDate(path), tags.captureDate.addMSecs(tags.subSecond * 10));
}

TEST(GeneratedDng, tinyOrMissingPreviewFallsBackToDevelopment)
{
    TempTree tree;
    for (const int previewSide : {160, 0}) {
        SCOPED_TRACE(previewSide);
        const QString path = tree.write(QStringLiteral("IMG_%1.DNG").arg(previewSide),
                                        shootgen::dngBytes(leftRedRightBlue(1200, 800), tags, {{600, 400}, previewSide, 85, 1}));
        const auto payload = PreviewRenderer::render(path, 2048);
        ASSERT_TRUE(payload);
        EXPECT_EQ(payload->source, PreviewSource::developed);
        // Half size of a 600×400 mosaic, never enlarged.
        EXPECT_EQ(payload->image.size(), QSize(300, 200));
        EXPECT_EQ(colourAt(payload->image, 0.1, 0.5), 'r');
        EXPECT_EQ(colourAt(payload->image, 0.9, 0.5), 'b');
    }
}

TEST(GeneratedDng, orientationTurnsBothPreviewAndDevelopment)
{
    TempTree tree;
    const QString withPreview = tree.write("p.DNG", shootgen::dngBytes(leftRedRightBlue(1200, 800), tags, {{600, 400}, 1024, 85, 6}));
    const QString without = tree.write("d.DNG", shootgen::dngBytes(leftRedRightBlue(1200, 800), tags, {{600, 400}, 0, 85, 6}));
    for (const QString& path : {withPreview, without}) {
        SCOPED_TRACE(path.toStdString());
        const auto payload = PreviewRenderer::render(path, 1024);
        ASSERT_TRUE(payload);
        EXPECT_LT(payload->image.width(), payload->image.height());
        EXPECT_EQ(colourAt(payload->image, 0.5, 0.1), 'r') << "turned clockwise: the left edge is on top";
    }
}

TEST(GeneratedDng, cutShortGivesNoImageOrAPreviewButNeverCrashes)
{
    TempTree tree;
    const QByteArray dng = shootgen::dngBytes(leftRedRightBlue(1200, 800), tags, {{600, 400}, 1024, 85, 1});
    for (const double share : {0.01, 0.2, 0.5, 0.9}) {
        const QString path = tree.write(QStringLiteral("cut%1.DNG").arg(share), dng.left(qsizetype(dng.size() * share)));
        const auto payload = PreviewRenderer::render(path, 2048);
        if (payload) {
            EXPECT_LE(payload->image.width(), 2048);
        }
    }
}
