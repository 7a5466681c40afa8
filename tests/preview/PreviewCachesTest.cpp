#include "TestJpegs.h"
#include "PosixHelpers.h"
#include "TestSupport.h"

#include "preview/PreviewCaches.h"

#include <QDir>
#include <QFile>
#include <gtest/gtest.h>


using namespace kestrava;
using namespace kestrava::test;

namespace {

PreviewPayload payloadOf(int width, int height)
{
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(Qt::darkGreen);
    return PreviewPayload::of(image, PreviewSource::embedded);
}

} // namespace

TEST(PreviewCacheKey, changesWithFileSizeSizeAskedAndModification)
{
    TempTree tree;
    const QString path = tree.write("a.jpg", "12345");
    const QString key = previewCacheKey(path, 2048);
    EXPECT_EQ(key.size(), 64);
    EXPECT_EQ(key, previewCacheKey(path, 2048));
    EXPECT_NE(key, previewCacheKey(path, 1024));
    setModificationTime(path, 1000000);
    const QString touched = previewCacheKey(path, 2048);
    EXPECT_NE(key, touched);
    writeFile(path, "123456");
    setModificationTime(path, 1000000);
    EXPECT_NE(touched, previewCacheKey(path, 2048));
    EXPECT_EQ(previewCacheKey(tree.path("missing.jpg"), 2048).size(), 64);
}

TEST(MemoryPreviewCache, holdsAtMostCountAndCostEvictingLeastRecentlyUsed)
{
    const qint64 oneImage = payloadOf(100, 100).memoryCost; // 40,000 bytes
    MemoryPreviewCache byCount(1000 * oneImage, 3);
    for (const char* key : {"a", "b", "c"})
        byCount.insert(key, payloadOf(100, 100));
    ASSERT_TRUE(byCount.find("a")); // a becomes most recent; b is now the oldest
    byCount.insert("d", payloadOf(100, 100));
    EXPECT_EQ(byCount.count(), 3);
    EXPECT_FALSE(byCount.find("b"));
    EXPECT_TRUE(byCount.find("a"));

    MemoryPreviewCache byCost(3 * oneImage, 32);
    for (const char* key : {"a", "b", "c", "d"})
        byCost.insert(key, payloadOf(100, 100));
    EXPECT_EQ(byCost.count(), 3);
    EXPECT_LE(byCost.totalCost(), 3 * oneImage);
    EXPECT_FALSE(byCost.find("a"));

    byCost.insert("huge", payloadOf(1000, 1000)); // larger than the whole cache: not kept
    EXPECT_FALSE(byCost.find("huge"));
    EXPECT_TRUE(byCost.find("d"));
}

TEST(DiskPreviewCache, roundTripKeepsPixelsSourceAndMarksUse)
{
    TempTree tree;
    DiskPreviewCache disk(tree.path("Previews"));
    const qint64 written = disk.save("k1", payloadOf(320, 200));
    EXPECT_GT(written, 0);
    const QString file = tree.path("Previews/k1.jpg");
    EXPECT_EQ(QFileInfo(file).size(), written);
    EXPECT_TRUE(QDir(tree.path("Previews")).entryList(QDir::Hidden | QDir::Files).size() == 1) << "no temporary left";
    setModificationTime(file, 1000);
    const auto loaded = disk.load("k1");
    ASSERT_TRUE(loaded);
    EXPECT_EQ(loaded->image.size(), QSize(320, 200));
    EXPECT_EQ(loaded->source, PreviewSource::embedded);
    EXPECT_GT(QFileInfo(file).lastModified().toSecsSinceEpoch(), 1000) << "a hit is a use";

    writeFile(tree.path("Previews/broken.jpg"), "garbage");
    EXPECT_FALSE(disk.load("broken"));
    EXPECT_FALSE(disk.load("absent"));
    EXPECT_FALSE(DiskPreviewCache(QString()).load("k1"));
    EXPECT_EQ(DiskPreviewCache(QString()).save("k1", payloadOf(10, 10)), 0);
}

TEST(DiskPreviewCache, pruneKeepsTheNewestFilesWithinTheLimit)
{
    TempTree tree;
    const QString folder = tree.mkdir("Previews");
    // 25 files of 100 kB, oldest first; a 1 MB limit keeps the newest ten.
    for (int i = 0; i < 25; ++i) {
        const QString path = tree.write(QStringLiteral("Previews/%1.jpg").arg(i, 2, 10, QLatin1Char('0')), QByteArray(100000, 'x'));
        setModificationTime(path, 1000000 + 100 * (i % 2 ? 25 - i : i)); // shuffled names, ordered by time below
    }
    DiskPreviewCache disk(folder, 1000000);
    const qint64 kept = disk.prune();
    EXPECT_EQ(kept, 1000000);
    QList<qint64> times;
    for (const QFileInfo& info : QDir(folder).entryInfoList(QDir::Files))
        times.append(info.lastModified().toSecsSinceEpoch());
    EXPECT_EQ(times.size(), 10);
    // Every kept file is at least as new as every possible deleted one.
    QList<qint64> all;
    for (int i = 0; i < 25; ++i)
        all.append(1000000 + 100 * (i % 2 ? 25 - i : i));
    std::sort(all.begin(), all.end());
    for (qint64 t : times)
        EXPECT_GE(t, all[15]);

    // Under the limit nothing goes but the temporaries of saves a process never finished.
    const QString abandoned = tree.write(QStringLiteral("Previews/.k1-a.tmp"), QByteArray(10, 'x'));
    setModificationTime(abandoned, QDateTime::currentSecsSinceEpoch() - 2 * 3600);
    const QString inFlight = tree.write(QStringLiteral("Previews/.k2-b.tmp"), QByteArray(10, 'x'));
    EXPECT_EQ(DiskPreviewCache(folder, 1 << 30).prune(), 1000000 + 10);
    EXPECT_FALSE(QFile::exists(abandoned));
    EXPECT_TRUE(QFile::exists(inFlight));
    EXPECT_EQ(QDir(folder).entryList(QDir::Files).size(), 10);
    EXPECT_EQ(DiskPreviewCache(tree.path("nowhere")).prune(), 0);
}
