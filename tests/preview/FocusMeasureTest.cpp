// The focus measure orders pictures by sharpness the way a photographer would: crisp over
// soft, a sharp subject before a soft background over a frame slightly soft everywhere, and
// the peaking overlay lights up only the crisp part.

#include "FocusImages.h"
#include "TestSupport.h"

#include "preview/FocusMeasure.h"
#include "preview/PreviewRenderer.h"

#include <QSet>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

const QSize sceneSize(768, 512);
const QRect centre(256, 170, 256, 170); // a ninth of the frame

double markedShare(const QImage& overlay, const QRect& region)
{
    qint64 marked = 0;
    for (int y = region.top(); y <= region.bottom(); ++y)
        for (int x = region.left(); x <= region.right(); ++x)
            marked += qAlpha(overlay.pixel(x, y)) != 0;
    return double(marked) / double(region.width() * region.height());
}

} // namespace

TEST(FocusMeasure, softerScoresLowerAndASharpSubjectCountsAsSharp)
{
    const QImage sharp = detailedScene(sceneSize);
    const QImage slightlySoft = softened(sharp, 2);
    const QImage soft = softened(sharp, 4);
    const QImage subject = pasted(soft, sharp, centre);

    const float sharpScore = measureFocus(sharp).score;
    const float slightlySoftScore = measureFocus(slightlySoft).score;
    const float softScore = measureFocus(soft).score;
    const float subjectScore = measureFocus(subject).score;
    EXPECT_GT(sharpScore, slightlySoftScore);
    EXPECT_GT(slightlySoftScore, softScore);
    EXPECT_GT(subjectScore, slightlySoftScore) << "a sharp centre before a soft background beats a frame slightly soft everywhere";
    EXPECT_GT(subjectScore, sharpScore / 2) << "and scores near the frame sharp everywhere";
}

TEST(FocusMeasure, mapLocatesTheSharpRegionAndEveryFormatGivesTheSameMap)
{
    const QImage sharp = detailedScene(sceneSize);
    const QImage subject = pasted(softened(sharp, 4), sharp, centre);
    const FocusMap map = measureFocus(subject);
    ASSERT_TRUE(map.isValid());
    EXPECT_EQ(map.imageSize, sceneSize);
    EXPECT_EQ(map.tileSize, 24);
    EXPECT_EQ(map.tiles, QSize(32, 21));
    ASSERT_EQ(map.values.size(), 32 * 21);
    const auto tileCentre = [&](int index) {
        const int column = index % map.tiles.width(), row = index / map.tiles.width();
        return QPoint(column * map.tileSize + map.tileSize / 2, row * map.tileSize + map.tileSize / 2);
    };
    const auto sharpest = std::max_element(map.values.cbegin(), map.values.cend()) - map.values.cbegin();
    EXPECT_TRUE(centre.contains(tileCentre(int(sharpest))));
    EXPECT_GT(map.at(16, 10), 4 * map.at(2, 2));

    // Luminance is read the same from every pixel layout the renderers hand out.
    for (const QImage::Format format : {QImage::Format_RGB888, QImage::Format_ARGB32, QImage::Format_RGBX8888}) {
        SCOPED_TRACE(format);
        EXPECT_EQ(measureFocus(subject.convertToFormat(format)), map);
    }
    QImage grey(subject.size(), QImage::Format_RGB32);
    QImage grey8(subject.size(), QImage::Format_Grayscale8);
    for (int y = 0; y < subject.height(); ++y)
        for (int x = 0; x < subject.width(); ++x) {
            const int v = qRed(subject.pixel(x, y));
            grey.setPixel(x, y, qRgb(v, v, v));
            grey8.scanLine(y)[x] = uchar(v);
        }
    EXPECT_EQ(measureFocus(grey8), measureFocus(grey));
}

TEST(FocusMeasure, flatOrTinyPicturesHaveNoFocus)
{
    QImage grey(200, 100, QImage::Format_RGB32);
    grey.fill(QColor(90, 90, 90));
    const FocusMap flat = measureFocus(grey);
    EXPECT_TRUE(flat.isValid());
    EXPECT_EQ(flat.score, 0.f);
    EXPECT_EQ(qAlpha(focusPeaking(grey).pixel(100, 50)), 0);
    for (const QSize size : {QSize(2, 100), QSize(100, 2), QSize(0, 0)}) {
        QImage tiny(size, QImage::Format_RGB32);
        tiny.fill(Qt::white);
        EXPECT_FALSE(measureFocus(tiny).isValid());
        EXPECT_EQ(focusPeaking(tiny).size(), size);
    }
    // The strongest possible detail, a checkerboard of single pixels, over a very wide strip
    // whose tiles are thousands of pixels long: the same score as over a narrow one.
    const auto checkerboard = [](int width) {
        QImage image(width, 3, QImage::Format_Grayscale8);
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < width; ++x)
                image.scanLine(y)[x] = (x + y) % 2 ? 255 : 0;
        return image;
    };
    EXPECT_EQ(measureFocus(checkerboard(400)).score, 1020.f * 1020.f);
    EXPECT_EQ(measureFocus(checkerboard(80000)).score, 1020.f * 1020.f);
    // An odd size: the last column and row take the remainder instead of forming slivers.
    const FocusMap odd = measureFocus(detailedScene(QSize(161, 47)));
    EXPECT_EQ(odd.tiles, QSize(10, 2));
}

TEST(FocusPeaking, marksTheSharpSubjectAndLeavesSoftPartsClear)
{
    const QImage sharp = detailedScene(sceneSize);
    const QImage soft = softened(sharp, 4);
    const QImage subject = pasted(soft, sharp, centre);
    const QImage overlay = focusPeaking(subject, measureFocus(subject), Qt::yellow);
    ASSERT_EQ(overlay.size(), subject.size());
    EXPECT_TRUE(overlay.hasAlphaChannel());
    const double inside = markedShare(overlay, centre.adjusted(8, 8, -8, -8));
    const double outside = markedShare(overlay, QRect(0, 0, sceneSize.width(), 150));
    EXPECT_GT(inside, 0.05);
    EXPECT_LT(outside, inside / 20);
    const QSet<QRgb> colours = [&] {
        QSet<QRgb> found;
        for (int y = 0; y < overlay.height(); ++y)
            for (int x = 0; x < overlay.width(); ++x)
                found.insert(overlay.pixel(x, y));
        return found;
    }();
    EXPECT_EQ(colours, (QSet<QRgb>{0u, QColor(Qt::yellow).rgba()}));
    EXPECT_LT(markedShare(focusPeaking(soft), QRect(QPoint(0, 0), sceneSize)), 0.005) << "a frame soft everywhere shows no edges in focus";
}

TEST(FocusPeaking, marksInAColourTheMarkedDetailDoesNotHide)
{
    const QImage sharp = detailedScene(sceneSize);
    const QImage grey = pasted(softened(sharp, 4), sharp, centre);
    // The same picture with every pixel in one hue, its brightness kept: the same edges light up.
    const auto tinted = [&](int hue) {
        QImage image = grey.convertToFormat(QImage::Format_RGB32);
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                image.setPixel(x, y, QColor::fromHsv(hue, 220, qGray(grey.pixel(x, y))).rgb());
        return image;
    };
    const auto markHue = [](const QImage& overlay) {
        for (int y = 0; y < overlay.height(); ++y)
            for (int x = 0; x < overlay.width(); ++x)
                if (qAlpha(overlay.pixel(x, y)) != 0)
                    return QColor::fromRgb(overlay.pixel(x, y)).hsvHue();
        return -1;
    };
    const auto apart = [](int a, int b) { return std::min(std::abs(a - b), 360 - std::abs(a - b)); };
    EXPECT_EQ(markHue(focusPeaking(grey)), 0) << "red where nothing in the picture hides it";
    for (const int hue : {0, 120, 190}) {
        const int mark = markHue(focusPeaking(tinted(hue)));
        ASSERT_GE(mark, 0);
        EXPECT_GE(apart(mark, hue), 90) << "marks on detail of hue " << hue << " drawn at hue " << mark;
    }
}

TEST(FocusMeasure, realPhotosScoreBelowThemselvesUnderAGaussianBlur)
{
    const QString folder = cameraTestData();
    if (folder.isEmpty())
        GTEST_SKIP() << "camera test data not present";
    int compared = 0;
    for (const char* name : {"Canon PowerShot G11.jpg", "Nikon D40.jpg", "Apple iPhone 5.jpg", "Sony Ericsson U10i.jpg", "Canon EOS 20D (2).jpg"}) {
        SCOPED_TRACE(name);
        const auto preview = PreviewRenderer::render(folder + '/' + QString::fromUtf8(name), 1024);
        if (!preview)
            continue;
        const QImage& original = preview->image;
        const QImage blurred = gaussianBlurred(original, 2.0);
        // The middle quarter of the frame: where a subject usually is, and large enough to hold
        // a tenth of the frame's sharpest detail in most pictures.
        const QRect middle(original.width() / 4, original.height() / 4, original.width() / 2, original.height() / 2);
        const float originalScore = measureFocus(original).score;
        const float blurredScore = measureFocus(blurred).score;
        const float subjectScore = measureFocus(pasted(blurred, original, middle)).score;
        EXPECT_LT(blurredScore, originalScore / 2);
        EXPECT_GT(subjectScore, blurredScore);
        EXPECT_GT(subjectScore, originalScore / 4) << "a sharp middle keeps most of the score";
        ++compared;
    }
    EXPECT_GE(compared, 3);
}
