#include "TrashTestSupport.h"

#include "trash/TrashJson.h"
#include "trash/TrashTransactionCoordinator.h"
#include "trash/TrashTransactionError.h"

#include <QFile>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace kestrava;
using namespace kestrava::test;
using Kind = TrashTransactionError::Kind;

namespace {

Kind captureFailure(const QString& path, bool requireSingleLink)
{
    try {
        FileIdentity::capture(path, requireSingleLink);
    } catch (const TrashTransactionError& error) {
        return error.kind();
    }
    ADD_FAILURE() << "capture did not fail for " << path.toStdString();
    return Kind::journalCorrupt;
}

} // namespace

TEST(FileIdentity, capturesContentHashAndLinuxIdentifiers)
{
    TempTree tree;
    const QString path = tree.write(QStringLiteral("a.jpg"), "abc");
    const FileIdentity identity = FileIdentity::capture(path, true);
    EXPECT_EQ(identity.sha256, QStringLiteral("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"));
    EXPECT_EQ(identity.size, 3);
    EXPECT_EQ(identity.linkCount, 1u);
    EXPECT_EQ(identity.path, path);
    EXPECT_FALSE(identity.bookmarkData);
    EXPECT_FALSE(identity.documentIdentifier);
    struct stat info {};
    ASSERT_EQ(::lstat(QFile::encodeName(path).constData(), &info), 0);
    EXPECT_EQ(identity.resourceIdentifier, QStringLiteral("%1:%2").arg(quint64(info.st_dev)).arg(quint64(info.st_ino)));
    EXPECT_EQ(identity.inode, quint64(info.st_ino));
    EXPECT_TRUE(identity.matches(FileIdentity::capture(path, true), false));
}

TEST(FileIdentity, refusesWhatIsNotOneRegularFile)
{
    TempTree tree;
    const QString photo = tree.write(QStringLiteral("a.jpg"), "abc");
    const QString link = tree.path(QStringLiteral("link.jpg"));
    ASSERT_EQ(::symlink(QFile::encodeName(photo).constData(), QFile::encodeName(link).constData()), 0);
    EXPECT_EQ(captureFailure(link, false), Kind::unsupportedItem);
    EXPECT_EQ(captureFailure(tree.mkdir(QStringLiteral("folder.jpg")), false), Kind::unsupportedItem);
    EXPECT_EQ(captureFailure(tree.path(QStringLiteral("missing.jpg")), false), Kind::fileUnavailable);

    // Both names lie in the same folder: still refused, whichever one is asked.
    const QString second = tree.path(QStringLiteral("b.jpg"));
    ASSERT_EQ(::link(QFile::encodeName(photo).constData(), QFile::encodeName(second).constData()), 0);
    EXPECT_EQ(captureFailure(photo, true), Kind::multipleHardLinks);
    EXPECT_EQ(captureFailure(second, true), Kind::multipleHardLinks);
    EXPECT_NO_THROW(FileIdentity::capture(photo, false));
}

TEST(FileIdentity, touchOrPermissionChangeIsAChangeEvenWithEqualContent)
{
    TempTree tree;
    const QString path = tree.write(QStringLiteral("a.jpg"), "abc");
    const FileIdentity before = FileIdentity::capture(path, true);

    setModificationTime(path, 1'000'000'000);
    const FileIdentity touched = FileIdentity::capture(path, true);
    EXPECT_EQ(touched.sha256, before.sha256);
    EXPECT_FALSE(touched.matches(before, false));
    EXPECT_FALSE(touched.matches(before, true));

    const FileIdentity beforeChmod = FileIdentity::capture(path, true);
    usleep(20000);
    ASSERT_EQ(::chmod(QFile::encodeName(path).constData(), 0400), 0);
    EXPECT_FALSE(FileIdentity::capture(path, true).matches(beforeChmod, false));
}

TEST(FileIdentity, afterRestartIgnoresDeviceInodeAndResourceIdentifierOnly)
{
    TempTree tree;
    const FileIdentity base = FileIdentity::capture(tree.write(QStringLiteral("a.jpg"), "abc"), true);

    FileIdentity remounted = base;
    remounted.device += 7;
    remounted.inode += 7;
    remounted.resourceIdentifier = QStringLiteral("1:2");
    remounted.path = QStringLiteral("/elsewhere/a.jpg");
    remounted.linkCount = 3;
    EXPECT_TRUE(remounted.matches(base, true));
    EXPECT_FALSE(remounted.matches(base, false));

    FileIdentity otherGeneration = base;
    otherGeneration.generationIdentifier = QStringLiteral("424242");
    if (base.generationIdentifier) {
        EXPECT_FALSE(otherGeneration.matches(base, true));
    }
    otherGeneration.generationIdentifier.reset();
    EXPECT_TRUE(otherGeneration.matches(base, false)) << "an identifier one side lacks is not compared";

    FileIdentity otherVolume = base;
    otherVolume.volumeUUID = QStringLiteral("other");
    EXPECT_EQ(otherVolume.matches(base, true), !base.volumeUUID.has_value());

    FileIdentity otherContent = base;
    otherContent.sha256[0] = otherContent.sha256[0] == QLatin1Char('0') ? QLatin1Char('1') : QLatin1Char('0');
    EXPECT_FALSE(otherContent.matches(base, true));
}

TEST(FileIdentity, preflightRefusesLinksAndHardLinkedOriginals)
{
    TempTree tree;
    const QString photo = tree.write(QStringLiteral("a.jpg"), "abc");
    const QString link = tree.path(QStringLiteral("l.jpg"));
    ASSERT_EQ(::symlink(QFile::encodeName(photo).constData(), QFile::encodeName(link).constData()), 0);
    try {
        TrashTransactionCoordinator::preflight(FileUrl::fromLocalPath(link));
        FAIL();
    } catch (const TrashTransactionError& error) {
        EXPECT_EQ(error.kind(), Kind::unsupportedItem);
        EXPECT_EQ(error.description(), QStringLiteral("„l.jpg“ ist keine unterstützte reguläre Datei."));
    }
    EXPECT_EQ(TrashTransactionCoordinator::preflight(FileUrl::fromLocalPath(photo)).size, 3);
}

TEST(TrashJson, preparationRoundTripsExactlyInBothDateStyles)
{
    TempTree tree;
    TrashEntry entry;
    entry.id = QUuid::createUuid();
    entry.groupID = QUuid::createUuid();
    entry.sourceURL = FileUrl::fromLocalPath(tree.write(QStringLiteral("Ä b%c.jpg"), "abc"));
    entry.stagingURL = FileUrl::fromLocalPath(QStringLiteral("/r/Sicherheitsablage/x/Ä b%c.jpg"));
    entry.sourceIdentity = FileIdentity::capture(entry.sourceURL.path(), true);
    entry.sourceIdentity.bookmarkData = QByteArray("\x00\x01\xff", 3);
    entry.sourceIdentity.inode = quint64(1) << 63 | 5; // survives as a bit pattern
    entry.stagingIdentity = entry.sourceIdentity;
    entry.state = TrashTransactionState::trashedConfirmed;
    entry.receipt = TrashReceipt{entry.sourceURL, FileUrl::fromLocalPath(QStringLiteral("/t/files/x.jpg")),
                                 QDateTime::fromSecsSinceEpoch(1'700'000'000, Qt::UTC), entry.sourceIdentity};
    entry.message = QStringLiteral("„Hinweis“");

    for (auto style : {TrashDateStyle::iso8601, TrashDateStyle::millisecondsSince1970})
        EXPECT_EQ(trashEntryFromJson(toJson(entry, style), style), entry);

    TrashPreparation preparation;
    preparation.sessionID = QUuid::createUuid();
    preparation.stagingRoot = FileUrl::fromLocalPath(QStringLiteral("/r/Sicherheitsablage/S"));
    preparation.entries = {entry};
    preparation.sourceVolumes = {SourceVolumeSummary{QStringLiteral("uuid"), QStringLiteral("Fotos"), QStringLiteral("ext4"), true, true}};
    preparation.sameVolumeAsSource = true;
    const QJsonObject json = toJson(preparation);
    EXPECT_EQ(json.keys(), (QStringList{"entries", "sameVolumeAsSource", "sessionID", "sourceVolumes", "stagingRoot"}));
    EXPECT_EQ(trashPreparationFromJson(json), preparation);
    EXPECT_EQ(preparation.totalBytes(), 3);

    TrashEntry bare = entry;
    bare.stagingIdentity.reset();
    bare.receipt.reset();
    bare.message.reset();
    const QJsonObject bareJson = toJson(bare);
    EXPECT_FALSE(bareJson.contains(QLatin1String("stagingIdentity")));
    EXPECT_FALSE(bareJson.contains(QLatin1String("receipt")));
    EXPECT_FALSE(bareJson.contains(QLatin1String("message")));
}

TEST(SourceVolumeSummary, describesFormatLocalityAndRemovability)
{
    SourceVolumeSummary volume{QStringLiteral("id"), QStringLiteral("Karte"), QStringLiteral("exfat"), true, true};
    EXPECT_EQ(volume.description(), QStringLiteral("exfat · lokal · entfernbar"));
    volume.isLocal = false;
    volume.isRemovable = false;
    EXPECT_EQ(volume.description(), QStringLiteral("exfat · Netzwerk"));

    TempTree tree;
    const SourceVolumeSummary here = summarizeSourceVolume(tree.write(QStringLiteral("a.jpg")));
    EXPECT_FALSE(here.id.isEmpty());
    EXPECT_FALSE(here.name.isEmpty());
    EXPECT_FALSE(here.format.isEmpty());
}
