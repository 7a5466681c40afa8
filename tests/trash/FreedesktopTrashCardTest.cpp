// The Trash on a camera card: FAT and exFAT images mounted through FUSE, which have neither
// a no-replace rename nor hard links. Culling straight off the card puts rejects into the
// card's own $topdir/.Trash-$uid, where trash-cli finds them under their original path.

#include "CardImage.h"
#include "TestSupport.h"

#include "platform/Sha256.h"
#include "trash/FreedesktopTrash.h"
#include "trash/TrashTransactionError.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

class TrashOnACard : public ::testing::TestWithParam<CardFormat> {};

TEST_P(TrashOnACard, rejectGoesToTheCardsTrashWithItsOriginalPath)
{
    CardImage card(GetParam(), QStringLiteral("KARTE"));
    if (!card.isMounted())
        GTEST_SKIP() << card.skipReason().toStdString();
    const QByteArray photo = "raw bytes of a rejected shot";
    const QString original = card.path(QStringLiteral("DCIM/100CANON/IMG_1.CR2"));
    QDir().mkpath(QFileInfo(original).path());
    writeFile(original, photo);
    const FileUrl url = FileUrl::fromLocalPath(original);
    const FreedesktopTrashLayout layout = FreedesktopTrashLayout::system();

    ASSERT_NO_THROW(FreedesktopTrashCapabilityChecker(layout).check(url));
    // The probe took its own file with it; only the trash folder it proved usable stays.
    EXPECT_EQ(QDir(card.mountPoint()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot).filter(QStringLiteral("kestrava")),
              QStringList());

    const TrashReceipt receipt = FreedesktopTrashService(layout).trash(url);
    const QString trashRoot = card.path(QStringLiteral(".Trash-%1").arg(::getuid()));
    EXPECT_EQ(receipt.resultingURL.path(), trashRoot + QStringLiteral("/files/IMG_1.CR2"));
    EXPECT_FALSE(QFileInfo::exists(original));
    EXPECT_EQ(readFile(receipt.resultingURL.path()), photo);
    EXPECT_TRUE(readFile(trashRoot + QStringLiteral("/info/IMG_1.CR2.trashinfo")).contains("Path=DCIM/100CANON/IMG_1.CR2\n"));
    EXPECT_NO_THROW(FreedesktopTrashReceiptValidator(layout).validate(receipt, Sha256::hex(Sha256::hash(photo))));

    // A second reject of the same name gets its own place; nothing is replaced.
    writeFile(original, "second");
    const TrashReceipt second = FreedesktopTrashService(layout).trash(url);
    EXPECT_NE(second.resultingURL.path(), receipt.resultingURL.path());
    EXPECT_EQ(readFile(receipt.resultingURL.path()), photo);

    // trash-cli, where installed, lists it under its original path and restores it there.
    const QString list = QStandardPaths::findExecutable(QStringLiteral("trash-list"));
    const QString restore = QStandardPaths::findExecutable(QStringLiteral("trash-restore"));
    if (list.isEmpty() || restore.isEmpty())
        return;
    QProcess listing;
    listing.start(list, QStringList());
    ASSERT_TRUE(listing.waitForFinished(30000));
    const QByteArray listed = listing.readAllStandardOutput();
    EXPECT_TRUE(listed.contains(QFile::encodeName(original))) << listed.toStdString() << listing.readAllStandardError().toStdString();
    QProcess process;
    process.setWorkingDirectory(card.mountPoint());
    process.start(restore, {original});
    process.write("0\n");
    process.closeWriteChannel();
    ASSERT_TRUE(process.waitForFinished(30000));
    const QByteArray restored = readFile(original);
    EXPECT_TRUE(restored == photo || restored == "second") << process.readAllStandardError().toStdString();
}

TEST_P(TrashOnACard, aRefusedCardIsNamedAndKeepsNoProbeFolder)
{
    CardImage card(GetParam(), QStringLiteral("KARTE"));
    if (!card.isMounted())
        GTEST_SKIP() << card.skipReason().toStdString();
    const QString original = card.path(QStringLiteral("DCIM/IMG_2.JPG"));
    QDir().mkpath(QFileInfo(original).path());
    writeFile(original, "jpeg");
    // A file where the trash folder would go: the Trash cannot be made and is refused.
    const QString trashRoot = card.path(QStringLiteral(".Trash-%1").arg(::getuid()));
    writeFile(trashRoot, "a file where the trash folder would go");
    try {
        FreedesktopTrashCapabilityChecker(FreedesktopTrashLayout::system()).check(FileUrl::fromLocalPath(original));
        ADD_FAILURE() << "the card's trash was accepted";
    } catch (const TrashTransactionError& error) {
        // Its label where the system knows it, else its mount point's name.
        const QString mountName = QStringLiteral("„") + QFileInfo(card.mountPoint()).fileName() + QStringLiteral("“");
        EXPECT_TRUE(error.description().contains(QStringLiteral("„KARTE“")) || error.description().contains(mountName))
            << error.description().toStdString();
        EXPECT_FALSE(error.description().contains(QStringLiteral("IMG_2"))) << error.description().toStdString();
    }
    EXPECT_EQ(readFile(original), "jpeg");
    EXPECT_EQ(QDir(card.path(QStringLiteral("DCIM"))).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              QStringList{QStringLiteral("IMG_2.JPG")});
}

// A trash that the probe had to create but that then fails (here it lies on another file
// system than the file, so the move would be a copy) is taken back with the probe.
TEST_P(TrashOnACard, aFailedProbeTakesBackTheTrashFolderItMade)
{
    CardImage card(GetParam(), QStringLiteral("KARTE"));
    if (!card.isMounted())
        GTEST_SKIP() << card.skipReason().toStdString();
    TempTree tree;
    const QString original = tree.write(QStringLiteral("Fotos/IMG_3.JPG"), "jpeg");
    FreedesktopTrashLayout misplaced = FreedesktopTrashLayout::system();
    misplaced.dataHome = [&] { return card.path(QStringLiteral("home")); };
    misplaced.mountPointOf = [&](const QString&) { return card.mountPoint(); };
    EXPECT_THROW(FreedesktopTrashCapabilityChecker(misplaced).check(FileUrl::fromLocalPath(original)), TrashTransactionError);
    EXPECT_EQ(QDir(card.mountPoint()).entryList(QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot), QStringList());
    EXPECT_EQ(filesBelow(tree.root()), QStringList{QStringLiteral("Fotos/IMG_3.JPG")});
}

INSTANTIATE_TEST_SUITE_P(Cards, TrashOnACard, ::testing::Values(CardFormat::exfat, CardFormat::fat),
                         [](const auto& info) { return std::string(info.param == CardFormat::exfat ? "exFAT" : "FAT"); });

} // namespace
