// What a scan returns and what it passes over.

#include "ScanTestHelpers.h"
#include "TestSupport.h"
#include "model/RunFolderMarker.h"
#include "scanning/FormatPreselection.h"
#include "scanning/PhotoInventoryScanner.h"

#include <QDir>
#include <QFile>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

QList<PhotoItem> scanTree(const TempTree& tree)
{
    return PhotoInventoryScanner::scan(FileUrl::fromLocalPath(tree.root()));
}

const PhotoItem* find(const QList<PhotoItem>& items, const QString& relative)
{
    for (const PhotoItem& item : items)
        if (item.relativePath == relative)
            return &item;
    return nullptr;
}

} // namespace

TEST(ScannerSelection, keepsJpegAndRawInAnyCaseAndNothingElse)
{
    TempTree tree;
    for (const char* name : {"photo.JPG", "photo.CR3", "b.jpeg", "c.JPE", "d.nef", "e.Rw2", "f.x3f"})
        tree.write(QString::fromLatin1(name));
    const QStringList others{"photo.xmp", "photo.heic", "photo.png", "photo.MOV", "jpg", "noext", "trailing.",
                             "photo.jpg.txt", "Tag 1/photo.jpgx"};
    for (const QString& name : others)
        tree.write(name);
    tree.write(".hidden.txt");

    const PhotoScanOutcome outcome = PhotoInventoryScanner::scanDetailed(FileUrl::fromLocalPath(tree.root()));
    const QList<PhotoItem>& items = outcome.items;
    QStringList found = relativePaths(items);
    found.sort();
    EXPECT_EQ(found, (QStringList{"b.jpeg", "c.JPE", "d.nef", "e.Rw2", "f.x3f", "photo.CR3", "photo.JPG"}));
    EXPECT_EQ(find(items, "photo.JPG")->formatGroup, PhotoFormatGroup::jpeg);
    EXPECT_EQ(find(items, "photo.CR3")->formatGroup, PhotoFormatGroup::raw);
    EXPECT_EQ(find(items, "c.JPE")->formatGroup, PhotoFormatGroup::jpeg);

    // The rest stays out but is counted (hidden files are not), and a few are named.
    EXPECT_EQ(outcome.unsupportedFiles, others.size());
    ASSERT_EQ(outcome.unsupportedExamples.size(), PhotoScanOutcome::maxUnsupportedExamples);
    for (const QString& name : outcome.unsupportedExamples)
        EXPECT_TRUE(others.contains(name) || name == QStringLiteral("photo.jpgx")) << name.toStdString();
}

TEST(ScannerSelection, fillsEveryFieldFromTheFile)
{
    TempTree tree;
    const QString path = tree.write("Tag 1/IMG_0001.JPG", QByteArray(1234, 'j'));
    setModificationTime(path, 1714550400); // 2024-05-01T08:00:00Z

    const QList<PhotoItem> items = scanTree(tree);
    ASSERT_EQ(items.size(), 1);
    const PhotoItem& item = items.first();
    EXPECT_EQ(item.sourceURL, FileUrl::fromLocalPath(path));
    EXPECT_EQ(item.relativePath, "Tag 1/IMG_0001.JPG");
    EXPECT_EQ(item.fileSize, 1234);
    const QDateTime expected = QDateTime::fromSecsSinceEpoch(1714550400, Qt::UTC);
    EXPECT_EQ(item.modificationDate, expected);
    EXPECT_EQ(item.captureDate, expected);
    EXPECT_FALSE(item.decision.has_value());
    EXPECT_TRUE(item.category.isEmpty());
}

TEST(ScannerSelection, hiddenEntriesAndOwnFoldersAreNotEntered)
{
    TempTree tree;
    tree.write("keep.jpg");
    tree.write(".hidden.jpg");
    tree.write("Tag 1/._keep.JPG"); // AppleDouble companion, hidden
    tree.write(".Trash-1000/files/old.jpg");
    tree.write("Kestrava-Ergebnis 2024-05-01/Behalten/keep.jpg");
    tree.write("Kestrava-Ergebnis/keep.cr3");
    tree.write("Tag 1/Kestrava-Ergebnis 2/nested.jpg");
    tree.write(".kestrava-work/partial.jpg");
    tree.write(".kestrava/x.nef");
    // The prefix rule is about folders the program made; similar names elsewhere are photos.
    tree.write("Mein Kestrava-Ergebnis/found.jpg");
    tree.write("Kestrava-Ergebnis.jpg");

    QStringList found = relativePaths(scanTree(tree));
    found.sort();
    EXPECT_EQ(found, (QStringList{"Kestrava-Ergebnis.jpg", "Mein Kestrava-Ergebnis/found.jpg", "keep.jpg"}));
}

TEST(ScannerSelection, markedRunFoldersAreNotEnteredWhateverTheirNameButAChosenOneIsRead)
{
    TempTree tree;
    tree.write("keep.jpg");
    // A run folder placed inside the source, at the top and deeper down; its name is the
    // user's choice, so only the marker can tell it apart.
    tree.write(QString("Kestrava – Hochzeit/") + runFolderMarkerName, QByteArray());
    tree.write("Kestrava – Hochzeit/JPEG/Behalten/keep.jpg");
    tree.write(QString("Tag 1/Sortiert/") + runFolderMarkerName, QByteArray());
    tree.write("Tag 1/Sortiert/RAW/IMG_1.CR3");
    tree.write("Tag 1/IMG_1.CR3");
    // The marker closes only its own folder, not its parent or its siblings.
    tree.write(QString("Album/Unter/") + runFolderMarkerName, QByteArray());
    tree.write("Album/Unter/b.jpg");
    tree.write("Album/a.jpg");
    // Whatever kind of entry carries the name, it marks the folder.
    tree.mkdir(QString("Andere/") + runFolderMarkerName);
    tree.write("Andere/c.jpg");

    QStringList found = relativePaths(scanTree(tree));
    found.sort();
    EXPECT_EQ(found, (QStringList{"Album/a.jpg", "Tag 1/IMG_1.CR3", "keep.jpg"}));

    // Opening a result folder itself is a deliberate choice: its photos are offered.
    const QList<PhotoItem> inside =
        PhotoInventoryScanner::scan(FileUrl::fromLocalPath(tree.path("Kestrava – Hochzeit")));
    EXPECT_EQ(relativePaths(inside), QStringList{"JPEG/Behalten/keep.jpg"});
}

TEST(ScannerSelection, symbolicLinksAreNeitherFollowedNorReturned)
{
    TempTree tree;
    TempTree outside;
    tree.write("a/real.jpg");
    outside.write("elsewhere.jpg");
    ASSERT_EQ(QFile::link(tree.path("a/real.jpg"), tree.path("a/link.jpg")), true);
    ASSERT_TRUE(QFile::link(tree.root(), tree.path("a/loop")));       // loop to the top
    ASSERT_TRUE(QFile::link(tree.path("a"), tree.path("a/self")));    // loop to itself
    ASSERT_TRUE(QFile::link(outside.root(), tree.path("outside")));   // another tree
    ASSERT_TRUE(QFile::link(tree.path("missing.jpg"), tree.path("dangling.jpg")));

    EXPECT_EQ(relativePaths(scanTree(tree)), QStringList{"a/real.jpg"});
}

TEST(ScannerSelection, chosenFolderMayItselfBeALink)
{
    TempTree tree;
    TempTree links;
    tree.write("Tag 1/IMG_1.JPG");
    ASSERT_TRUE(QFile::link(tree.root(), links.path("Karte")));

    const QList<PhotoItem> items = PhotoInventoryScanner::scan(links.path("Karte"));
    ASSERT_EQ(items.size(), 1);
    EXPECT_EQ(items.first().sourceURL.path(), links.path("Karte/Tag 1/IMG_1.JPG"));
}

TEST(ScannerSelection, emptyAndPhotoLessFoldersGiveEmptyLists)
{
    TempTree tree;
    EXPECT_TRUE(scanTree(tree).isEmpty());
    tree.write("notes.txt");
    tree.mkdir("empty/deeper");
    EXPECT_TRUE(scanTree(tree).isEmpty());
}

TEST(ScannerSelection, relativeAndUncleanFolderPathsAreStandardised)
{
    TempTree tree;
    tree.write("sub/IMG_1.jpg");
    const QString unclean = tree.root() + QStringLiteral("/sub/../sub/./");
    const QList<PhotoItem> items = PhotoInventoryScanner::scan(FileUrl::fromLocalPath(unclean));
    ASSERT_EQ(items.size(), 1);
    EXPECT_EQ(items.first().relativePath, "IMG_1.jpg");
    EXPECT_EQ(items.first().sourceURL.path(), tree.path("sub/IMG_1.jpg"));

    const QString previous = QDir::currentPath();
    QDir::setCurrent(tree.root());
    const QList<PhotoItem> relative = PhotoInventoryScanner::scan(QStringLiteral("sub"));
    QDir::setCurrent(previous);
    ASSERT_EQ(relative.size(), 1);
    EXPECT_EQ(relative.first().sourceURL.path(), tree.path("sub/IMG_1.jpg"));
}

TEST(FormatPreselection, prefersBothThenWhicheverFormatExists)
{
    EXPECT_EQ(preselectedReviewChoice(3, 1), FormatReviewChoice::both);
    EXPECT_EQ(preselectedReviewChoice(3, 0), FormatReviewChoice::jpeg);
    EXPECT_EQ(preselectedReviewChoice(0, 2), FormatReviewChoice::raw);
    EXPECT_EQ(preselectedReviewChoice(0, 0), std::nullopt);
    EXPECT_TRUE(offersFormatChoice(1, 1));
    EXPECT_FALSE(offersFormatChoice(4, 0));
}
