// The chosen folder failing, trouble below it, names that cannot be represented, cancellation.

#include "ScanTestHelpers.h"
#include "TestSupport.h"
#include "scanning/PhotoInventoryScanner.h"

#include <QFile>
#include <QFileInfo>
#include <QThreadPool>
#include <QtConcurrent/QtConcurrentRun>
#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

void expectFolderUnavailable(const QString& folder)
{
    try {
        PhotoInventoryScanner::scan(FileUrl::fromLocalPath(folder));
        ADD_FAILURE() << "no error for " << folder.toStdString();
    } catch (const PhotoScannerError& error) {
        EXPECT_EQ(error.kind(), PhotoScannerError::Kind::folderUnavailable);
    }
}

// Restores permissions so the temporary tree can be removed.
struct PermissionGuard {
    QString path;
    ~PermissionGuard() { ::chmod(QFile::encodeName(path).constData(), 0755); }
};

} // namespace

TEST(ScannerFailure, missingFolderOrFileInsteadOfFolderIsUnavailable)
{
    TempTree tree;
    expectFolderUnavailable(tree.path("does-not-exist"));
    expectFolderUnavailable(tree.write("IMG_1.jpg"));
    ASSERT_TRUE(QFile::link(tree.path("gone"), tree.path("dangling")));
    expectFolderUnavailable(tree.path("dangling"));
}

TEST(ScannerFailure, unreadableFolderIsUnavailableAndUnreadableSubfolderIsSkipped)
{
    TempTree tree;
    tree.write("top/visible.jpg");
    tree.write("top/locked/hidden-from-us.jpg");
    const QString locked = tree.path("top/locked");
    const QString top = tree.path("top");
    PermissionGuard lockedGuard{locked};
    PermissionGuard topGuard{top};
    ASSERT_EQ(::chmod(QFile::encodeName(locked).constData(), 0), 0);

    if (runningAsRoot())
        GTEST_SKIP() << "root reads every folder, so permissions cannot make one unreadable";

    const PhotoScanOutcome outcome = PhotoInventoryScanner::scanDetailed(FileUrl::fromLocalPath(top));
    EXPECT_EQ(relativePaths(outcome.items), QStringList{"visible.jpg"});
    EXPECT_EQ(outcome.skippedUnreadableFolders, 1);

    ASSERT_EQ(::chmod(QFile::encodeName(top).constData(), 0), 0);
    expectFolderUnavailable(top);
}

TEST(ScannerFailure, undecodableNamesAreLeftOutCountedAndUntouched)
{
    TempTree tree;
    tree.write("good.jpg");
    const QByteArray root = QFile::encodeName(tree.root());
    const QByteArray badFile = root + "/bad\xff\xfe.jpg";
    const QByteArray overlong = root + "/over\xc0\xaflong.NEF"; // overlong "/"
    const QByteArray badFolder = root + "/Ordner \xe9t\xe9"; // Latin-1 accents
    ASSERT_TRUE(createRawNamedFile(badFile, "original bytes"));
    ASSERT_TRUE(createRawNamedFile(overlong));
    ASSERT_EQ(::mkdir(badFolder.constData(), 0755), 0);
    ASSERT_TRUE(createRawNamedFile(badFolder + "/inside.jpg"));
    ASSERT_TRUE(createRawNamedFile(root + "/ignored\xff.txt")); // not a photo: not counted
    const RawNameCleanup cleanup({badFile, overlong, badFolder + "/inside.jpg", badFolder, root + "/ignored\xff.txt"});

    const PhotoScanOutcome outcome = PhotoInventoryScanner::scanDetailed(FileUrl::fromLocalPath(tree.root()));
    EXPECT_EQ(relativePaths(outcome.items), QStringList{"good.jpg"});
    EXPECT_EQ(outcome.skippedUndecodableNames, 3);

    struct stat info;
    ASSERT_EQ(::stat(badFile.constData(), &info), 0);
    EXPECT_EQ(readRawNamedFile(badFile), "original bytes");
    EXPECT_EQ(::stat((badFolder + "/inside.jpg").constData(), &info), 0);
}

TEST(ScannerFailure, validMultibyteNamesAreNotMistakenForUndecodable)
{
    TempTree tree;
    for (const char* name : {"Gr\xc3\xbc\xc3\x9f" "e.jpg", "\xe2\x82\xac" "uro.jpg", "\xf0\x9f\x93\xb7" "kamera.jpg",
                             "\xed\x9f\xbf" "max3.jpg", "\xf4\x8f\xbf\xbf" "max4.jpg"})
        ASSERT_TRUE(createRawNamedFile(QFile::encodeName(tree.root()) + "/" + name));
    const PhotoScanOutcome outcome = PhotoInventoryScanner::scanDetailed(FileUrl::fromLocalPath(tree.root()));
    EXPECT_EQ(outcome.items.size(), 5);
    EXPECT_EQ(outcome.skippedUndecodableNames, 0);
}

TEST(ScannerFailure, cancellationStopsWithoutResults)
{
    TempTree tree;
    for (int i = 0; i < 20; ++i)
        tree.write(QStringLiteral("Ordner %1/IMG_%1.jpg").arg(i));
    const PhotoScanOutcome outcome =
        PhotoInventoryScanner::scanDetailed(FileUrl::fromLocalPath(tree.root()), [] { return true; });
    EXPECT_TRUE(outcome.canceled);
    EXPECT_TRUE(outcome.items.isEmpty());

    const PhotoScanOutcome full =
        PhotoInventoryScanner::scanDetailed(FileUrl::fromLocalPath(tree.root()), [] { return false; });
    EXPECT_FALSE(full.canceled);
    EXPECT_EQ(full.items.size(), 20);
}

// Scans run on pool threads in the program; a scan must not wait for a pool thread of its own.
TEST(ScannerFailure, scansOccupyingEveryPoolThreadStillFinish)
{
    TempTree tree;
    for (int folder = 0; folder < 30; ++folder)
        for (int file = 0; file < 3; ++file)
            tree.write(QStringLiteral("Ordner %1/Unter/IMG_%2.jpg").arg(folder).arg(file));
    const int threads = std::max(2, QThreadPool::globalInstance()->maxThreadCount());
    QList<QFuture<qsizetype>> scans;
    for (int i = 0; i < threads + 1; ++i)
        scans.append(QtConcurrent::run([root = tree.root()] { return PhotoInventoryScanner::scan(root).size(); }));
    for (QFuture<qsizetype>& scan : scans)
        EXPECT_EQ(scan.result(), 90);
}
