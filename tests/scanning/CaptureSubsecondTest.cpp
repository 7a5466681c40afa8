// Capture times to the millisecond: each date takes the subsecond tag recorded beside it, and
// generated shoots come back from the metadata pipeline with the times they were given.

#include "TestJpegs.h"
#include "TestSupport.h"

#include "preview/DecodeSlots.h"
#include "preview/ExifDates.h"
#include "scanning/MetadataPipeline.h"
#include "scanning/generator/ShootGenerator.h"

#include <QImage>
#include <gtest/gtest.h>

#include <map>
#include <string>

using namespace kestrava;
using namespace kestrava::test;

namespace {

QDateTime local(int h, int mi, int s, int ms = 0) { return QDateTime(QDate(2024, 6, 1), QTime(h, mi, s, ms)); }

QByteArray jpegWithTags(const std::map<std::string, std::string>& tags)
{
    QImage picture(32, 24, QImage::Format_RGB32);
    picture.fill(Qt::gray);
    return jpegWithExifTags(picture, tags);
}

} // namespace

TEST(CaptureSubsecond, eachDateTakesOnlyItsOwnSubsecondTag)
{
    TempTree tree;
    const std::string date = "2024:06:01 10:00:00";
    struct Case {
        const char* name;
        std::map<std::string, std::string> tags;
        QDateTime expected;
    } cases[] = {
        {"original", {{"Exif.Photo.DateTimeOriginal", date}, {"Exif.Photo.SubSecTimeOriginal", "92"}, {"Exif.Photo.SubSecTime", "11"}}, local(10, 0, 0, 920)},
        // The original's subsecond must not be put on the digitized date.
        {"digitized", {{"Exif.Photo.DateTimeDigitized", date}, {"Exif.Photo.SubSecTimeOriginal", "3"}, {"Exif.Photo.SubSecTimeDigitized", "5"}}, local(10, 0, 0, 500)},
        {"digitizedWithout", {{"Exif.Photo.DateTimeDigitized", date}, {"Exif.Photo.SubSecTimeOriginal", "3"}}, local(10, 0, 0)},
        {"modified", {{"Exif.Image.DateTime", date}, {"Exif.Photo.SubSecTime", "123456"}}, local(10, 0, 0, 123)},
        {"blank", {{"Exif.Photo.DateTimeOriginal", date}, {"Exif.Photo.SubSecTimeOriginal", "  "}}, local(10, 0, 0)},
        {"letters", {{"Exif.Photo.DateTimeOriginal", date}, {"Exif.Photo.SubSecTimeOriginal", "9a"}}, local(10, 0, 0)},
        // A subsecond without a date that parses gives no date at all.
        {"noDate", {{"Exif.Photo.SubSecTimeOriginal", "50"}}, QDateTime()},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const auto read = readCaptureDate(tree.write(QString::fromLatin1(c.name) + ".jpg", jpegWithTags(c.tags)));
        EXPECT_EQ(read.value_or(QDateTime()), c.expected);
    }
}

TEST(CaptureSubsecond, digitsAreADecimalFraction)
{
    EXPECT_EQ(parseExifSubsecond("5"), 500);
    EXPECT_EQ(parseExifSubsecond("05"), 50);
    EXPECT_EQ(parseExifSubsecond("999999"), 999);
    EXPECT_EQ(parseExifSubsecond(QStringLiteral(" 07") + QChar(0)), 70);
    EXPECT_EQ(parseExifSubsecond("000"), 0);
    EXPECT_FALSE(parseExifSubsecond(""));
    EXPECT_FALSE(parseExifSubsecond(QString(QChar(0))));
    EXPECT_FALSE(parseExifSubsecond("-5"));
    EXPECT_FALSE(parseExifSubsecond("1 2"));
}

TEST(CaptureSubsecond, generatedShootComesBackToTheMillisecond)
{
    TempTree tree;
    shootgen::ShootOptions options;
    options.shots = 12;
    options.rawRatio = 0.6;
    options.seed = 15;
    options.imageSize = QSize(96, 64);
    options.distractors = false;
    const shootgen::ShootSummary shoot = shootgen::generateShoot(tree.path("shoot"), options);

    QList<PhotoItem> photos;
    int withSubsecond = 0;
    for (const shootgen::GeneratedPhoto& generated : shoot.photos) {
        PhotoItem item;
        item.relativePath = generated.relativePath;
        item.sourceURL = FileUrl::fromLocalPath(shoot.folder + '/' + generated.relativePath);
        item.formatGroup = generated.formatGroup;
        item.captureDate = QDateTime(QDate(2000, 1, 1), QTime(0, 0));
        item.modificationDate = item.captureDate;
        photos.append(item);
        withSubsecond += generated.captureDate.time().msec() != 0;
    }
    ASSERT_GE(withSubsecond, 6);

    DecodeSlots decodeSlots;
    MetadataPipeline::Options pipelineOptions;
    pipelineOptions.decodeSlots = &decodeSlots;
    pipelineOptions.decodeConcurrency = [](const QString&) { return 2; };
    MetadataPipeline pipeline(std::move(pipelineOptions));
    const QList<PhotoItem> enriched = pipeline.enrich(photos).result();
    ASSERT_EQ(enriched.size(), shoot.photos.size());
    for (qsizetype i = 0; i < enriched.size(); ++i) {
        SCOPED_TRACE(shoot.photos[i].relativePath.toStdString());
        EXPECT_EQ(enriched[i].captureDate, shoot.photos[i].captureDate);
        if (shoot.photos[i].formatGroup == PhotoFormatGroup::raw) {
            EXPECT_EQ(readCaptureDate(shoot.folder + '/' + shoot.photos[i].relativePath), shoot.photos[i].captureDate)
                << "the DNG carries the subsecond itself";
        }
    }
}
