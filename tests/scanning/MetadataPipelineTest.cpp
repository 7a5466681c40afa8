#include "TestJpegs.h"
#include "TestSupport.h"

#include "preview/ExifDates.h"
#include "scanning/MetadataPipeline.h"

#include <QImage>
#include <QThread>
#include <gtest/gtest.h>

#include <mutex>

using namespace kestrava;
using namespace kestrava::test;

namespace {

QDateTime local(int y, int mo, int d, int h, int mi, int s) { return QDateTime(QDate(y, mo, d), QTime(h, mi, s)); }

QString exifJpeg(TempTree& tree, const QString& name, const ExifTags& tags)
{
    return tree.write(name, jpegWithExif(leftRedRightBlue(64, 48), tags));
}

PhotoItem photo(const QString& root, const QString& relativePath)
{
    PhotoItem item;
    item.sourceURL = FileUrl::fromLocalPath(root + '/' + relativePath);
    item.relativePath = relativePath;
    item.formatGroup = formatGroupForFileName(relativePath.section('/', -1));
    item.captureDate = local(2000, 1, 1, 0, 0, 0); // the scanner's file date
    item.captureDateOrigin = CaptureDateOrigin::fileDate;
    item.fileSize = relativePath.size();
    item.modificationDate = item.captureDate;
    return item;
}

// Reads dates from a table instead of files and counts every open.
struct TableReader {
    QHash<QString, QDateTime> dates; // by file name
    std::mutex mutex;
    QStringList opened;
    std::function<void(const QString&)> onRead;

    MetadataPipeline::DateReader function()
    {
        return [this](const QString& path) -> std::optional<QDateTime> {
            const QString name = path.section('/', -1);
            {
                std::lock_guard lock(mutex);
                opened.append(name);
            }
            if (onRead)
                onRead(name);
            const auto it = dates.constFind(name);
            return it == dates.cend() ? std::nullopt : std::optional(*it);
        };
    }
};

struct PipelineFixture {
    DecodeSlots decodeSlots;
    TableReader reader;
    std::unique_ptr<MetadataPipeline> pipeline;
    PipelineFixture()
    {
        MetadataPipeline::Options options;
        options.reader = reader.function();
        options.decodeSlots = &decodeSlots;
        options.decodeConcurrency = [](const QString&) { return 1; };
        pipeline = std::make_unique<MetadataPipeline>(std::move(options));
    }
};

} // namespace

TEST(ExifDates, firstParsableTagWinsAsLocalWallClockTime)
{
    TempTree tree;
    const QString original = exifJpeg(tree, "o.jpg", {0, "2023:07:14 18:03:55", "2023:07:15 10:00:00", "2023:07:16 10:00:00"});
    const QString digitizedOnly = exifJpeg(tree, "d.jpg", {0, {}, "2021:02:03 04:05:06", "2021:09:09 09:09:09"});
    const QString tiffOnly = exifJpeg(tree, "t.jpg", {0, {}, {}, "2019:12:31 23:59:59"});
    const QString blankOriginal = exifJpeg(tree, "b.jpg", {0, "    :  :     :  :  ", "2003:09:10 20:59:18", {}});
    const QString otherFormat = exifJpeg(tree, "f.jpg", {0, "2023-07-14 18:03:55", {}, {}});
    const QString noExif = exifJpeg(tree, "n.jpg", {});

    EXPECT_EQ(readCaptureDate(original), local(2023, 7, 14, 18, 3, 55));
    EXPECT_EQ(readCaptureDate(original)->timeSpec(), Qt::LocalTime);
    EXPECT_EQ(readCaptureDate(digitizedOnly), local(2021, 2, 3, 4, 5, 6));
    EXPECT_EQ(readCaptureDate(tiffOnly), local(2019, 12, 31, 23, 59, 59));
    EXPECT_EQ(readCaptureDate(blankOriginal), local(2003, 9, 10, 20, 59, 18));
    EXPECT_FALSE(readCaptureDate(otherFormat));
    EXPECT_FALSE(readCaptureDate(noExif));
}

TEST(ExifDates, unreadableFilesHaveNoDate)
{
    TempTree tree;
    EXPECT_FALSE(readCaptureDate(tree.write("empty.jpg", QByteArray())));
    EXPECT_FALSE(readCaptureDate(tree.write("noise.CR2", QByteArray(5000, '\x5a'))));
    EXPECT_FALSE(readCaptureDate(tree.write("cut.jpg", jpegWithExif(leftRedRightBlue(64, 48), {0, "2023:07:14 18:03:55", {}, {}}).left(30))));
    EXPECT_FALSE(readCaptureDate(tree.path("missing.jpg")));
    EXPECT_FALSE(parseExifDateTime("2023:13:14 18:03:55"));
    EXPECT_FALSE(parseExifDateTime("2023:07:14 18:03"));
    EXPECT_EQ(parseExifDateTime(QStringLiteral("2023:07:14 18:03:55") + QChar(0)), local(2023, 7, 14, 18, 3, 55));
}

TEST(MetadataPipeline, pairingKeyIgnoresFormatFoldersAndCase)
{
    auto key = [](const QString& relativePath) { return MetadataPipeline::pairingKey(photo("/r", relativePath)); };
    EXPECT_EQ(key("Shoot/JPEG/IMG_0042.JPG"), "shoot/img_0042");
    EXPECT_EQ(key("Shoot/RAW/IMG_0042.CR3"), "shoot/img_0042");
    EXPECT_EQ(key("Shoot/jpeg/IMG_0042.jpg"), "shoot/img_0042");
    EXPECT_EQ(key("IMG_0042.JPG"), key("IMG_0042.NEF"));
    EXPECT_EQ(key("JPEG/IMG_1.JPG"), key("RAW/IMG_1.ARW"));
    EXPECT_NE(key("Day1/IMG_1.JPG"), key("Day2/IMG_1.NEF"));
}

TEST(MetadataPipeline, rawPartnerOfADatedJpegIsNeverOpened)
{
    PipelineFixture f;
    f.reader.dates = {{"IMG_1.JPG", local(2023, 7, 14, 18, 3, 55)}, {"IMG_3.NEF", local(2022, 1, 1, 8, 0, 0)}};
    const QList<PhotoItem> photos = {photo("/r", "Shoot/RAW/IMG_1.CR3"), photo("/r", "Shoot/JPEG/IMG_1.JPG"),
                                     photo("/r", "Shoot/JPEG/IMG_2.JPG"), photo("/r", "Shoot/RAW/IMG_2.CR3"),
                                     photo("/r", "Shoot/IMG_3.NEF"), photo("/r", "Shoot/notes.png")};
    const QList<PhotoItem> enriched = f.pipeline->enrich(photos).result();
    ASSERT_EQ(enriched.size(), photos.size());
    EXPECT_EQ(enriched[0].captureDate, local(2023, 7, 14, 18, 3, 55)) << "the RAW takes its JPEG partner's date";
    EXPECT_EQ(enriched[1].captureDate, local(2023, 7, 14, 18, 3, 55));
    EXPECT_EQ(enriched[2].captureDate, photos[2].captureDate) << "no date found: the file date stays";
    EXPECT_EQ(enriched[3].captureDate, photos[3].captureDate);
    EXPECT_EQ(enriched[4].captureDate, local(2022, 1, 1, 8, 0, 0)) << "a RAW without partner is read itself";
    EXPECT_EQ(enriched[5], photos[5]);
    for (int i = 0; i < photos.size(); ++i) {
        PhotoItem expected = photos[i];
        expected.captureDate = enriched[i].captureDate;
        expected.captureDateOrigin = enriched[i].captureDateOrigin;
        EXPECT_EQ(enriched[i], expected) << "nothing but the date and its origin change";
        const bool found = i == 0 || i == 1 || i == 4;
        EXPECT_EQ(enriched[i].captureDateOrigin, found ? CaptureDateOrigin::exif : photos[i].captureDateOrigin) << i;
    }
    // JPEGs first; IMG_1.CR3 never; IMG_2.CR3 is read because its partner had no date.
    EXPECT_EQ(f.reader.opened, (QStringList{"IMG_1.JPG", "IMG_2.JPG", "IMG_2.CR3", "IMG_3.NEF"}));
    EXPECT_EQ(f.decodeSlots.activeCount(), 0);
}

TEST(MetadataPipeline, foundDatesAreCachedByFingerprintMissingOnesAreNot)
{
    PipelineFixture f;
    f.reader.dates = {{"A.JPG", local(2020, 5, 5, 5, 5, 5)}};
    QList<PhotoItem> photos = {photo("/r", "A.JPG"), photo("/r", "B.JPG")};
    f.pipeline->enrich(photos).waitForFinished();
    f.pipeline->enrich(photos).waitForFinished();
    EXPECT_EQ(f.reader.opened, (QStringList{"A.JPG", "B.JPG", "B.JPG"}));
    photos[0].modificationDate = photos[0].modificationDate.addSecs(60); // the file changed
    const auto again = f.pipeline->enrich(photos).result();
    EXPECT_EQ(f.reader.opened.count("A.JPG"), 2);
    EXPECT_EQ(again[0].captureDate, local(2020, 5, 5, 5, 5, 5));
}

TEST(MetadataPipeline, cancellingDuringTheJpegPassReturnsThePartialListWithNoRawEnriched)
{
    PipelineFixture f;
    MetadataCancellation cancellation;
    for (const char* name : {"A.JPG", "B.JPG", "C.JPG", "A.NEF", "Z.NEF"})
        f.reader.dates.insert(name, local(2021, 1, 1, 1, 1, 1));
    f.reader.onRead = [&](const QString& name) {
        if (name == "B.JPG")
            cancellation.cancel();
    };
    const QList<PhotoItem> photos = {photo("/r", "A.JPG"), photo("/r", "A.NEF"), photo("/r", "B.JPG"),
                                     photo("/r", "C.JPG"), photo("/r", "Z.NEF")};
    const auto partial = f.pipeline->enrich(photos, cancellation).result();
    ASSERT_EQ(partial.size(), photos.size());
    EXPECT_EQ(partial[0].captureDate, local(2021, 1, 1, 1, 1, 1));
    EXPECT_EQ(partial[1].captureDate, photos[1].captureDate);
    EXPECT_EQ(partial[3].captureDate, photos[3].captureDate);
    EXPECT_EQ(partial[4].captureDate, photos[4].captureDate);
    EXPECT_FALSE(f.reader.opened.contains("C.JPG"));
    EXPECT_EQ(f.decodeSlots.activeCount(), 0);
}

TEST(MetadataPipeline, readsWaitBehindPreviewsForTheDecodeSlot)
{
    PipelineFixture f;
    f.reader.dates = {{"A.JPG", local(2021, 1, 1, 1, 1, 1)}};
    auto preview = f.decodeSlots.acquire(100, 1);
    ASSERT_TRUE(preview.granted.result());
    auto enrichment = f.pipeline->enrich({photo("/r", "A.JPG")});
    while (f.decodeSlots.waiterCount() == 0)
        QThread::msleep(1);
    auto nextPreview = f.decodeSlots.acquire(100, 1);
    f.decodeSlots.release();
    EXPECT_TRUE(nextPreview.granted.isFinished()) << "the later preview goes before the waiting metadata read";
    EXPECT_TRUE(f.reader.opened.isEmpty());
    f.decodeSlots.release();
    EXPECT_EQ(enrichment.result().first().captureDate, local(2021, 1, 1, 1, 1, 1));
    EXPECT_EQ(f.decodeSlots.activeCount(), 0);

    // Cancelled while waiting for a slot: no slot is taken, the list comes back unchanged.
    auto holder = f.decodeSlots.acquire(100, 1);
    MetadataCancellation cancellation;
    const QList<PhotoItem> photos = {photo("/r", "B.JPG")};
    auto waiting = f.pipeline->enrich(photos, cancellation);
    while (f.decodeSlots.waiterCount() == 0)
        QThread::msleep(1);
    cancellation.cancel();
    EXPECT_EQ(waiting.result(), photos);
    f.decodeSlots.release();
    EXPECT_EQ(f.decodeSlots.activeCount(), 0);
    EXPECT_EQ(f.decodeSlots.waiterCount(), 0);
}
