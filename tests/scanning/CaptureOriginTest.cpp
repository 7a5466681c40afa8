// Capture dates say where they came from, and only the camera's dates make series: files
// copied together share their file dates and must not look like one long burst.

#include "TestJpegs.h"
#include "TestSupport.h"

#include "model/SeriesBuilder.h"
#include "preview/DecodeSlots.h"
#include "scanning/MetadataPipeline.h"
#include "scanning/PhotoInventoryScanner.h"

#include <QImage>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

// Every file below the tree gets the same modification time, as after a copy.
void touchAll(const QStringList& paths)
{
    const struct timespec when[2] = {{1'700'000'000, 0}, {1'700'000'000, 0}};
    for (const QString& path : paths)
        ASSERT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), when, 0), 0);
}

QList<PhotoItem> enrich(const QList<PhotoItem>& photos)
{
    DecodeSlots decodeSlots;
    MetadataPipeline::Options options;
    options.decodeSlots = &decodeSlots;
    options.decodeConcurrency = [](const QString&) { return 2; };
    MetadataPipeline pipeline(std::move(options));
    return pipeline.enrich(photos).result();
}

QStringList names(const QList<ReviewGroup>& groups, const Series& series)
{
    QStringList result;
    for (qsizetype i = series.first; i < series.first + series.length; ++i)
        result.append(groups[i].previewURL.fileName());
    return result;
}

} // namespace

TEST(CaptureOrigin, onlyCameraDatesFormSeriesAfterTheMetadataPipeline)
{
    TempTree tree;
    const QImage picture = leftRedRightBlue(32, 24);
    QStringList written;
    // A real burst: three frames within a second.
    written << tree.write("Serie/a.jpg", jpegWithExif(picture, {0, "2024:06:01 10:00:00", {}, {}}))
            << tree.write("Serie/b.jpg", jpegWithExif(picture, {0, "2024:06:01 10:00:01", {}, {}}))
            << tree.write("Serie/c.jpg", jpegWithExif(picture, {0, "2024:06:01 10:00:01", {}, {}}));
    // Exported pictures without any EXIF, copied at once: one file date for all.
    written << tree.write("Export/d.jpg", jpegWithExif(picture)) << tree.write("Export/e.jpg", jpegWithExif(picture))
            << tree.write("Export/f.jpg", jpegWithExif(picture));
    touchAll(written);

    const QList<PhotoItem> scanned = PhotoInventoryScanner::scan(tree.root());
    ASSERT_EQ(scanned.size(), 6);
    for (const PhotoItem& photo : scanned) {
        EXPECT_EQ(photo.captureDateOrigin, CaptureDateOrigin::fileDate) << photo.relativePath.toStdString();
        EXPECT_FALSE(photo.cameraCaptureTime());
    }
    EXPECT_EQ(findSeries(seriesEntriesFor(ReviewGroup::build(scanned, std::nullopt), scanned)), QList<Series>{})
        << "file dates alone never make a series";

    const QList<PhotoItem> enriched = enrich(scanned);
    ASSERT_EQ(enriched.size(), 6);
    for (const PhotoItem& photo : enriched) {
        SCOPED_TRACE(photo.relativePath.toStdString());
        const bool fromCamera = photo.relativePath.startsWith("Serie/");
        EXPECT_EQ(photo.captureDateOrigin, fromCamera ? CaptureDateOrigin::exif : CaptureDateOrigin::fileDate);
        if (!fromCamera) {
            EXPECT_EQ(photo.captureDate, photo.modificationDate) << "a file without EXIF keeps its file date for sorting";
        }
        EXPECT_EQ(photo.cameraCaptureTime().has_value(), fromCamera);
    }

    const QList<ReviewGroup> groups = ReviewGroup::build(enriched, std::nullopt);
    const QList<Series> series = findSeries(seriesEntriesFor(groups, enriched));
    ASSERT_EQ(series.size(), 1);
    EXPECT_EQ(names(groups, series[0]), (QStringList{"a.jpg", "b.jpg", "c.jpg"}));
}
