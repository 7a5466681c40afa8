#include "execution/StoragePreflight.h"

#include "ExecutionTestSupport.h"

#include "model/Text.h"

using namespace kestrava;
using namespace kestrava::test;

TEST(StoragePreflight, reserveIsFivePercentButAtLeastOneGibibyteEvenForNothing)
{
    EXPECT_EQ(StoragePreflight::evaluate(10'000'000'000, 20'000'000'000, false).reserveBytes, 1'073'741'824);
    EXPECT_EQ(StoragePreflight::evaluate(30'000'000'000, 40'000'000'000, false).reserveBytes, 1'500'000'000);
    const StorageEstimate empty = StoragePreflight::evaluate(0, 1'073'741'823, true);
    EXPECT_EQ(empty.reserveBytes, 1'073'741'824);
    EXPECT_FALSE(empty.isSufficient);
    EXPECT_TRUE(empty.sameVolumeMove);
}

TEST(StoragePreflight, messagesAtTheBoundaryAndWithoutAVolume)
{
    const StorageEstimate exact = StoragePreflight::evaluate(30'000'000'000, 31'500'000'000, false);
    EXPECT_TRUE(exact.isSufficient);
    EXPECT_EQ(exact.message, QStringLiteral("Benötigt einschließlich Reserve: ") + text::formatByteCount(31'500'000'000)
                                 + QStringLiteral(" · Frei: ") + text::formatByteCount(31'500'000'000));

    const StorageEstimate tight = StoragePreflight::evaluate(30'000'000'000, 31'499'999'999, false);
    EXPECT_FALSE(tight.isSufficient);
    EXPECT_EQ(tight.message, QStringLiteral("Zu wenig Speicher: benötigt ") + text::formatByteCount(31'500'000'000)
                                 + QStringLiteral(", verfügbar ") + text::formatByteCount(31'499'999'999)
                                 + QStringLiteral(". Bitte wähle ein anderes Ziel."));

    const StorageEstimate unknown = StoragePreflight::evaluate(5, std::nullopt, false);
    EXPECT_FALSE(unknown.isSufficient);
    EXPECT_FALSE(unknown.availableBytes.has_value());
    EXPECT_EQ(unknown.message, QStringLiteral("Der freie Speicher des Zielvolumes konnte nicht ermittelt werden."));

    // A file system that reports no size (here /proc) has unknown free space, not none.
    EXPECT_FALSE(StoragePreflight::availableCapacity(FileUrl::fromLocalPath("/proc/self")).has_value());
    EXPECT_GT(StoragePreflight::availableCapacity(FileUrl::fromLocalPath(QDir::tempPath())).value_or(0), 0);
}

TEST(StoragePreflight, countsWhatStillHasToBeWrittenOnTheDestinationVolume)
{
    TempTree tree;
    tree.write("src/keep.jpg", QByteArray(1000, 'k'));
    tree.write("src/maybe.jpg", QByteArray(200, 'm'));
    tree.write("src/gone.jpg", QByteArray(30, 'g'));
    tree.write("src/open.jpg", QByteArray(4, 'o'));
    tree.write("src/done.jpg", QByteArray(50000, 'd'));
    const QString src = tree.path("src");
    QList<PhotoItem> items{photoAt(src, "keep.jpg"), photoAt(src, "maybe.jpg", PhotoDecision::maybe),
                           photoAt(src, "gone.jpg", PhotoDecision::del), photoAt(src, "open.jpg", std::nullopt),
                           photoAt(src, "done.jpg")};
    items[1].fileSize = 0; // unknown size is read from the disk
    QMap<QString, ExecutionRecord> records;
    records.insert(src + "/done.jpg", ExecutionRecord{src + "/done.jpg", {}, ExecutionActionStatus::completed, 50000, {}});
    // The result folder does not exist yet: it is measured on its nearest existing parent.
    const QString destination = tree.path("not/yet/there");

    const auto copy = StoragePreflight::estimate(items, optionsFor(destination, SortOperationMode::safeCopy), records);
    EXPECT_EQ(copy.requiredBytes, 1230);
    EXPECT_FALSE(copy.sameVolumeMove);
    ASSERT_TRUE(copy.availableBytes.has_value());
    EXPECT_GT(*copy.availableBytes, 0); // (exact figures drift while other programs write)

    const auto trash = StoragePreflight::estimate(items, optionsFor(destination, SortOperationMode::organizeAndTrash), {});
    EXPECT_EQ(trash.requiredBytes, 0); // same volume: renames
    EXPECT_TRUE(trash.sameVolumeMove);

    EXPECT_EQ(StoragePreflight::closestExistingAncestor(FileUrl::fromLocalPath(destination)).path(), tree.root());
    EXPECT_EQ(StoragePreflight::volumeIdentity(FileUrl::fromLocalPath(destination)),
              StoragePreflight::volumeIdentity(FileUrl::fromLocalPath(src)));
    EXPECT_FALSE(StoragePreflight::volumeIdentity(FileUrl::fromLocalPath(src)).isEmpty());
}

TEST(StoragePreflight, movesFromAnotherVolumeNeedTheirFullSize)
{
    // /dev/shm is a tmpfs on every Linux system; the temporary tree lives elsewhere unless
    // TMPDIR points there too.
    TempTree tree;
    if (StoragePreflight::volumeIdentity(FileUrl::fromLocalPath("/dev/shm"))
        == StoragePreflight::volumeIdentity(FileUrl::fromLocalPath(tree.root())))
        GTEST_SKIP() << "no second volume";
    QTemporaryDir other("/dev/shm/kestrava-preflight-XXXXXX");
    ASSERT_TRUE(other.isValid());
    writeFile(other.path() + "/far.jpg", QByteArray(777, 'f'));
    tree.write("src/near.jpg", QByteArray(5, 'n'));
    const QList<PhotoItem> items{photoAt(other.path(), "far.jpg"), photoAt(tree.path("src"), "near.jpg")};
    const auto estimate =
        StoragePreflight::estimate(items, optionsFor(tree.path("out"), SortOperationMode::moveOriginals), {});
    EXPECT_EQ(estimate.requiredBytes, 777);
    EXPECT_FALSE(estimate.sameVolumeMove);
}
