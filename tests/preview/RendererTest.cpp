#include "TestJpegs.h"
#include "TestSupport.h"

#include "preview/PreviewRenderer.h"

#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

std::optional<PreviewPayload> renderFile(const QString& path, int size) { return PreviewRenderer::render(path, size); }

} // namespace

// Scaled to fit and never enlarged; the content decides, not the extension; a cancelled or
// nonsense request gives nothing.
TEST(Renderer, jpegIsScaledToFitAndNeverEnlarged)
{
    TempTree tree;
    const QString large = tree.write("large.jpg", jpegWithExif(leftRedRightBlue(3000, 2000)));
    const QString small = tree.write("small.JPG", jpegWithExif(leftRedRightBlue(500, 300)));
    const QString disguised = tree.write("DSC_0001.NEF", jpegWithExif(leftRedRightBlue(800, 600)));

    const auto scaled = renderFile(large, 1024);
    ASSERT_TRUE(scaled);
    EXPECT_EQ(scaled->image.size(), QSize(1024, 682));
    EXPECT_EQ(scaled->source, PreviewSource::decoded);
    EXPECT_EQ(scaled->memoryCost, scaled->image.sizeInBytes());

    const auto untouched = renderFile(small, 1024);
    ASSERT_TRUE(untouched);
    EXPECT_EQ(untouched->image.size(), QSize(500, 300));

    const auto payload = renderFile(disguised, 1024);
    ASSERT_TRUE(payload);
    EXPECT_EQ(payload->source, PreviewSource::decoded);
    EXPECT_EQ(payload->image.size(), QSize(800, 600));

    EXPECT_FALSE(PreviewRenderer::render(small, 1024, [] { return true; }));
    EXPECT_FALSE(PreviewRenderer::render(small, 0));
}

TEST(Renderer, exifOrientationIsApplied)
{
    TempTree tree;
    struct Case {
        int orientation;
        QSize size;
        char top, bottom, left, right;
    };
    // Red starts on the left. 6 turns clockwise (red on top), 8 counter-clockwise (red at the
    // bottom), 3 half-way (red on the right), 2 mirrors (red on the right, same size).
    const Case cases[] = {{1, {400, 200}, '?', '?', 'r', 'b'}, {3, {400, 200}, '?', '?', 'b', 'r'},
                          {6, {200, 400}, 'r', 'b', '?', '?'}, {8, {200, 400}, 'b', 'r', '?', '?'},
                          {2, {400, 200}, '?', '?', 'b', 'r'}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.orientation);
        const QString path = tree.write(QStringLiteral("o%1.jpg").arg(c.orientation), jpegWithExif(leftRedRightBlue(400, 200), ExifTags{c.orientation, {}, {}, {}}));
        const auto payload = renderFile(path, 1024);
        ASSERT_TRUE(payload);
        EXPECT_EQ(payload->image.size(), c.size);
        if (c.top != '?') {
            EXPECT_EQ(colourAt(payload->image, 0.5, 0.1), c.top);
            EXPECT_EQ(colourAt(payload->image, 0.5, 0.9), c.bottom);
        } else {
            EXPECT_EQ(colourAt(payload->image, 0.1, 0.5), c.left);
            EXPECT_EQ(colourAt(payload->image, 0.9, 0.5), c.right);
        }
    }
}

TEST(Renderer, damagedAndForeignFilesGiveNoImageAndNeverCrash)
{
    TempTree tree;
    const QByteArray jpeg = jpegWithExif(leftRedRightBlue(1200, 800));
    QByteArray random;
    for (int i = 0; i < 200000; ++i)
        random.append(char((i * 7919 + (i >> 3)) & 0xFF));
    const QString noImage[] = {
        tree.write("empty.jpg", QByteArray()),
        tree.write("header-only.jpg", jpeg.left(40)),
        tree.write("noise.CR2", random),
        tree.write("tiff-noise.NEF", QByteArray("II*\0\x08\0\0\0", 8) + random),
        tree.write("bmff-noise.CR3", QByteArray("\0\0\0\x18" "ftypcrx ", 12) + random),
        tree.write("text.ARW", QByteArray("not a raw file at all\n").repeated(50)),
        tree.path("missing.jpg"),
        tree.mkdir("folder.jpg"),
    };
    for (const QString& path : noImage) {
        SCOPED_TRACE(path.toStdString());
        EXPECT_FALSE(renderFile(path, 1024));
    }
    // A JPEG cut short still shows what arrived (the rest is grey), as image viewers do;
    // what matters is that it returns.
    const QString cut = tree.write("cut.jpg", jpeg.left(jpeg.size() / 2));
    if (const auto payload = renderFile(cut, 1024)) {
        EXPECT_EQ(payload->image.size(), QSize(1024, 682));
    }
}
