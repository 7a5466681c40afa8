// The synthetic shoots: what the scanner finds in them, their pictures and EXIF dates,
// determinism, and that they never write over anything.

#include "ScanTestHelpers.h"
#include "TestSupport.h"
#include "scanning/PhotoInventoryScanner.h"
#include "scanning/generator/ShootGenerator.h"

#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QSet>
#include <gtest/gtest.h>

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#include <exiv2/exiv2.hpp>

using namespace kestrava;
using namespace kestrava::test;
using namespace kestrava::shootgen;

namespace {

QString exifDate(const QString& path)
{
    Exiv2::Image::AutoPtr image = Exiv2::ImageFactory::open(QFile::encodeName(path).toStdString());
    image->readMetadata();
    const auto it = image->exifData().findKey(Exiv2::ExifKey("Exif.Photo.DateTimeOriginal"));
    return it == image->exifData().end() ? QString() : QString::fromStdString(it->toString());
}

ShootOptions smallShoot(quint64 seed)
{
    ShootOptions options;
    options.shots = 40;
    options.rawRatio = 0.5;
    options.seed = seed;
    options.imageSize = QSize(96, 64);
    return options;
}

} // namespace

TEST(ShootGenerator, scannerFindsExactlyThePhotosAndNoneOfTheDistractors)
{
    TempTree tree;
    const ShootSummary summary = generateShoot(tree.path("Shooting"), smallShoot(7));
    EXPECT_EQ(summary.jpegCount(), 40);
    EXPECT_GT(summary.rawCount(), 5);
    EXPECT_LT(summary.rawCount(), 35);
    EXPECT_GE(summary.folders.size(), 2);
    EXPECT_FALSE(summary.sidecars.isEmpty());
    EXPECT_FALSE(summary.ignored.isEmpty());
    for (const QString& ignored : summary.ignored)
        EXPECT_TRUE(QFileInfo::exists(tree.path("Shooting/" + ignored))) << ignored.toStdString();

    const QList<PhotoItem> items = PhotoInventoryScanner::scan(tree.path("Shooting"));
    QSet<QString> scanned;
    for (const PhotoItem& item : items)
        scanned.insert(item.relativePath);
    QSet<QString> generated;
    for (const GeneratedPhoto& photo : summary.photos)
        generated.insert(photo.relativePath);
    EXPECT_EQ(scanned, generated);
    EXPECT_EQ(items.size(), summary.photos.size());
}

TEST(ShootGenerator, picturesAreRealJpegsWithIncreasingExifDates)
{
    TempTree tree;
    const ShootSummary summary = generateShoot(tree.root(), smallShoot(3));
    QDateTime previous;
    int checked = 0;
    for (const GeneratedPhoto& photo : summary.photos) {
        if (photo.formatGroup != PhotoFormatGroup::jpeg)
            continue;
        const QString path = tree.path(photo.relativePath);
        EXPECT_EQ(exifDate(path), photo.captureDate.toString("yyyy:MM:dd HH:mm:ss"));
        if (previous.isValid()) { // days follow each other, shots within a day advance
            EXPECT_GT(photo.captureDate, previous);
        }
        previous = photo.captureDate;
        EXPECT_EQ(QFileInfo(path).lastModified().toSecsSinceEpoch(), photo.captureDate.toSecsSinceEpoch());
        if (checked++ < 3) {
            const QImage image(path);
            ASSERT_FALSE(image.isNull());
            EXPECT_EQ(image.size(), QSize(96, 64));
            QSet<QRgb> colours;
            for (int y = 0; y < image.height(); y += 8)
                for (int x = 0; x < image.width(); x += 8)
                    colours.insert(image.pixel(x, y));
            EXPECT_GT(colours.size(), 20); // not a blank frame
        }
    }
    EXPECT_EQ(checked, 40);
}

TEST(ShootGenerator, sameSeedSameShootOtherSeedOtherShoot)
{
    TempTree tree;
    const ShootSummary a = generateShoot(tree.path("a"), smallShoot(11));
    const ShootSummary b = generateShoot(tree.path("b"), smallShoot(11));
    const ShootSummary c = generateShoot(tree.path("c"), smallShoot(12));
    ASSERT_EQ(a.photos.size(), b.photos.size());
    for (qsizetype i = 0; i < a.photos.size(); ++i) {
        EXPECT_EQ(a.photos[i].relativePath, b.photos[i].relativePath);
        EXPECT_EQ(a.photos[i].captureDate, b.photos[i].captureDate);
    }
    const QString first = a.photos.first().relativePath;
    EXPECT_EQ(readFile(tree.path("a/" + first)), readFile(tree.path("b/" + first)));

    QStringList namesA, namesC;
    for (const auto& p : a.photos)
        namesA.append(p.relativePath);
    for (const auto& p : c.photos)
        namesC.append(p.relativePath);
    EXPECT_NE(namesA, namesC);
}

TEST(ShootGenerator, refusesAFolderThatIsNotEmptyAndLeavesItAlone)
{
    TempTree tree;
    tree.write("vorhanden.jpg", "meins");
    try {
        generateShoot(tree.root(), smallShoot(1));
        ADD_FAILURE() << "generated into a non-empty folder";
    } catch (const ShootGeneratorError& error) {
        EXPECT_EQ(error.kind(), ShootGeneratorError::Kind::folderNotEmpty);
    }
    EXPECT_EQ(QDir(tree.root()).entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::Hidden), QStringList{"vorhanden.jpg"});
    EXPECT_EQ(readFile(tree.path("vorhanden.jpg")), "meins");
}

TEST(ShootGenerator, nameOnlyTreeHasTheRequestedNumberOfPhotos)
{
    TempTree tree;
    EXPECT_EQ(generateNameOnlyTree(tree.root(), 12, 25, 0.3, 9), 300);
    EXPECT_EQ(PhotoInventoryScanner::scan(tree.root()).size(), 300);
}

#pragma GCC diagnostic pop
