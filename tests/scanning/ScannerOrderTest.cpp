// The order of a scan: file-browser order, whatever order the files were created in.

#include "ScanTestHelpers.h"
#include "TestSupport.h"
#include "model/Text.h"
#include "scanning/PhotoInventoryScanner.h"

#include <QRandomGenerator>
#include <algorithm>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

const QStringList naturalOrder{
    "a/IMG_1.jpg", "a/IMG_2.jpg", "a/IMG_10.jpg", "a/IMG_10.NEF", "a/IMG_100.jpg",
    "B/IMG_3.jpg", "Tag 2/DSC_9.ARW", "Tag 10/DSC_1.ARW", "Zebra.jpg",
};

QStringList scanInCreationOrder(const QStringList& creationOrder)
{
    TempTree tree;
    for (const QString& name : creationOrder)
        tree.write(name);
    return relativePaths(PhotoInventoryScanner::scan(FileUrl::fromLocalPath(tree.root())));
}

} // namespace

TEST(ScannerOrder, numbersCompareByValueAndCaseIsIgnored)
{
    EXPECT_EQ(scanInCreationOrder(naturalOrder), naturalOrder);
    QStringList reversed = naturalOrder;
    std::reverse(reversed.begin(), reversed.end());
    EXPECT_EQ(scanInCreationOrder(reversed), naturalOrder);
}

TEST(ScannerOrder, namesEqualToTheCollatorStillComeInOneFixedOrder)
{
    const QStringList forward{"IMG_1.JPG", "img_1.jpg", "Img_1.Jpg", "IMG_2.JPG"};
    const QStringList backward{"IMG_2.JPG", "Img_1.Jpg", "img_1.jpg", "IMG_1.JPG"};
    const QStringList first = scanInCreationOrder(forward);
    EXPECT_EQ(first, scanInCreationOrder(backward));
    EXPECT_EQ(first.last(), "IMG_2.JPG");
}

// The scanner sorts through precomputed keys, split across threads for large lists; the
// order must be exactly what a plain stable sort with the shared comparator gives.
TEST(ScannerOrder, keySortAgreesWithTheSharedComparatorOnLargeLists)
{
    QRandomGenerator random(42);
    const QStringList stems{"IMG_", "img_", "DSC", "Tag ", "Ä", "a", "Z", "_", "Ölberg ", "é"};
    QList<PhotoItem> items;
    for (int i = 0; i < 6000; ++i) {
        PhotoItem item;
        item.relativePath = stems[random.bounded(stems.size())] + QString::number(random.bounded(3000))
            + (random.bounded(2) ? QStringLiteral("/") + stems[random.bounded(stems.size())] : QString())
            + QString::number(random.bounded(50)) + QStringLiteral(".jpg");
        item.fileSize = i; // tells equal paths apart
        items.append(item);
    }
    QList<PhotoItem> expected = items;
    std::stable_sort(expected.begin(), expected.end(), [](const PhotoItem& a, const PhotoItem& b) {
        if (const int c = text::compareNatural(a.relativePath, b.relativePath))
            return c < 0;
        return a.relativePath < b.relativePath;
    });

    PhotoInventoryScanner::sortByRelativePath(items);
    EXPECT_TRUE(items == expected);
}
