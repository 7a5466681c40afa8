#include "Reservations.h"
#include "TrashTestSupport.h"

#include "platform/FileSystemError.h"
#include "platform/VolumeInfo.h"
#include "trash/FreedesktopTrash.h"
#include "trash/TrashTransactionError.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <gtest/gtest.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace kestrava;
using namespace kestrava::test;
using Kind = TrashTransactionError::Kind;

namespace {

QStringList entriesOf(const QString& folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

Kind validationFailure(const TrashReceiptValidating& validator, const TrashReceipt& receipt, const QString& sha)
{
    try {
        validator.validate(receipt, sha);
    } catch (const TrashTransactionError& error) {
        return error.kind();
    }
    return Kind::fileUnavailable; // stands for "accepted"
}

// A layout whose home trash lies on another file system, so the given folder acts as the
// top directory of the files' own file system.
FreedesktopTrashLayout topDirectoryLayout(const QString& topdir)
{
    FreedesktopTrashLayout layout;
    layout.dataHome = [] { return QStringLiteral("/proc/kestrava-no-such-folder"); };
    layout.mountPointOf = [topdir](const QString&) { return topdir; };
    layout.uid = ::getuid();
    return layout;
}

} // namespace

TEST(FreedesktopTrash, homeTrashGetsFlushedInfoFileAndTheFileItself)
{
    TrashSandbox box;
    const QString original = box.addOriginal(QStringLiteral("100% Über Bild.jpg"), "pixels");
    const FreedesktopTrashService service;
    const TrashReceipt receipt = service.trash(FileUrl::fromLocalPath(original));

    EXPECT_FALSE(QFile::exists(original));
    EXPECT_EQ(receipt.resultingURL.path(), box.homeTrash() + QStringLiteral("/files/100% Über Bild.jpg"));
    EXPECT_EQ(readFile(receipt.resultingURL.path()), QByteArray("pixels"));
    EXPECT_EQ(receipt.sourceURL.path(), original);
    EXPECT_EQ(receipt.identity.sha256, FileIntegrity::sha256Hex(QByteArrayView("pixels")));

    const QByteArray info = readFile(box.homeTrash() + QStringLiteral("/info/100% Über Bild.jpg.trashinfo"));
    const QList<QByteArray> lines = info.split('\n');
    ASSERT_GE(lines.size(), 3);
    EXPECT_EQ(lines[0], QByteArray("[Trash Info]"));
    EXPECT_EQ(lines[1], "Path=" + QFile::encodeName(box.source(QString())).replace(" ", "%20")
                            + "100%25%20%C3%9Cber%20Bild.jpg");
    EXPECT_TRUE(QDateTime::fromString(QString::fromLatin1(lines[2].mid(13)), QStringLiteral("yyyy-MM-ddTHH:mm:ss")).isValid());

    FreedesktopTrashReceiptValidator().validate(receipt, receipt.identity.sha256);

    // The same name again gets a fresh trash name; nothing in the Trash is replaced.
    const QString again = box.addOriginal(QStringLiteral("100% Über Bild.jpg"), "other pixels");
    const TrashReceipt second = service.trash(FileUrl::fromLocalPath(again));
    EXPECT_NE(second.resultingURL, receipt.resultingURL);
    EXPECT_EQ(readFile(receipt.resultingURL.path()), QByteArray("pixels"));
    FreedesktopTrashReceiptValidator().validate(second, second.identity.sha256);
}

TEST(FreedesktopTrash, failedMoveRemovesTheInfoFileAndPassesTheErrorOn)
{
    TrashSandbox box;
    const QString original = box.addOriginal(QStringLiteral("a.jpg"), "pixels");
    FaultInjectingFileOps ops;
    ops.failAt(FileOps::Op::renameNoReplace, 1, EIO);
    const FreedesktopTrashService service(FreedesktopTrashLayout::system(), ops);
    EXPECT_THROW(service.trash(FileUrl::fromLocalPath(original)), FileSystemError);
    EXPECT_EQ(readFile(original), QByteArray("pixels"));
    EXPECT_TRUE(entriesOf(box.homeTrash() + QLatin1String("/info")).isEmpty());
    EXPECT_TRUE(entriesOf(box.homeTrash() + QLatin1String("/files")).isEmpty());

    // The info file must be on disk before the move: a failing flush stops before it.
    FaultInjectingFileOps flushFails;
    flushFails.failAt(FileOps::Op::fsync, 1, EIO);
    EXPECT_THROW(FreedesktopTrashService(FreedesktopTrashLayout::system(), flushFails).trash(FileUrl::fromLocalPath(original)),
                 FileSystemError);
    EXPECT_EQ(readFile(original), QByteArray("pixels"));
    EXPECT_TRUE(entriesOf(box.homeTrash() + QLatin1String("/info")).isEmpty());
}

TEST(FreedesktopTrash, topDirectoryTrashUsesPrivateFolderAndRelativePath)
{
    TempTree tree;
    const QString topdir = tree.mkdir(QStringLiteral("volume"));
    const QString original = tree.write(QStringLiteral("volume/DCIM/a b.jpg"), "pixels");
    const auto layout = topDirectoryLayout(topdir);
    const TrashReceipt receipt = FreedesktopTrashService(layout).trash(FileUrl::fromLocalPath(original));

    const QString trash = topdir + QStringLiteral("/.Trash-%1").arg(::getuid());
    EXPECT_EQ(receipt.resultingURL.path(), trash + QLatin1String("/files/a b.jpg"));
    struct stat info {};
    ASSERT_EQ(::stat(QFile::encodeName(trash).constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0700u);
    EXPECT_TRUE(readFile(trash + QLatin1String("/info/a b.jpg.trashinfo")).contains("\nPath=DCIM/a%20b.jpg\n"));
    FreedesktopTrashReceiptValidator(layout).validate(receipt, receipt.identity.sha256);
    // Seen from a layout for which that folder is no valid trash, the same receipt proves nothing.
    EXPECT_EQ(validationFailure(FreedesktopTrashReceiptValidator(topDirectoryLayout(tree.path(QStringLiteral("x")))), receipt,
                                receipt.identity.sha256),
              Kind::receiptInvalid);
}

TEST(FreedesktopTrash, sharedTopDirectoryTrashOnlyWhenStickyAndNoLink)
{
    TempTree tree;
    const QString topdir = tree.mkdir(QStringLiteral("volume"));
    const auto layout = topDirectoryLayout(topdir);
    const QString uid = QString::number(::getuid());

    // Without the sticky bit the shared folder is not trusted.
    const QString shared = tree.mkdir(QStringLiteral("volume/.Trash"));
    ::chmod(QFile::encodeName(shared).constData(), 0777);
    const QString first = tree.write(QStringLiteral("volume/a.jpg"), "a");
    EXPECT_EQ(FreedesktopTrashService(layout).trash(FileUrl::fromLocalPath(first)).resultingURL.path(),
              topdir + QLatin1String("/.Trash-") + uid + QLatin1String("/files/a.jpg"));

    ::chmod(QFile::encodeName(shared).constData(), 01777);
    const QString second = tree.write(QStringLiteral("volume/b.jpg"), "b");
    const TrashReceipt receipt = FreedesktopTrashService(layout).trash(FileUrl::fromLocalPath(second));
    EXPECT_EQ(receipt.resultingURL.path(), shared + QLatin1Char('/') + uid + QLatin1String("/files/b.jpg"));
    FreedesktopTrashReceiptValidator(layout).validate(receipt, receipt.identity.sha256);

    // A link named .Trash is never used, even to a sticky folder.
    TempTree other;
    const QString otherTop = other.mkdir(QStringLiteral("volume"));
    const QString sticky = other.mkdir(QStringLiteral("sticky"));
    ::chmod(QFile::encodeName(sticky).constData(), 01777);
    ASSERT_EQ(::symlink(QFile::encodeName(sticky).constData(), QFile::encodeName(otherTop + QLatin1String("/.Trash")).constData()), 0);
    const QString third = other.write(QStringLiteral("volume/c.jpg"), "c");
    EXPECT_EQ(FreedesktopTrashService(topDirectoryLayout(otherTop)).trash(FileUrl::fromLocalPath(third)).resultingURL.path(),
              otherTop + QLatin1String("/.Trash-") + uid + QLatin1String("/files/c.jpg"));
    EXPECT_TRUE(entriesOf(sticky).isEmpty());
}

TEST(FreedesktopTrash, receiptOfAFileEmptiedReplacedOrChangedIsInvalid)
{
    TrashSandbox box;
    const FreedesktopTrashService service;
    const FreedesktopTrashReceiptValidator validator;
    const auto trashed = [&](const QString& name) {
        return service.trash(FileUrl::fromLocalPath(box.addOriginal(name, "pixels of " + name.toUtf8())));
    };

    const TrashReceipt emptied = trashed(QStringLiteral("a.jpg"));
    ::unlink(QFile::encodeName(emptied.resultingURL.path()).constData());
    EXPECT_EQ(validationFailure(validator, emptied, emptied.identity.sha256), Kind::receiptInvalid);

    const TrashReceipt replaced = trashed(QStringLiteral("b.jpg"));
    ::unlink(QFile::encodeName(replaced.resultingURL.path()).constData());
    writeFile(replaced.resultingURL.path(), "pixels of b.jpg");
    EXPECT_EQ(validationFailure(validator, replaced, replaced.identity.sha256), Kind::receiptInvalid);

    const TrashReceipt changed = trashed(QStringLiteral("c.jpg"));
    writeFile(changed.resultingURL.path(), "PIXELS OF C.JPG");
    EXPECT_EQ(validationFailure(validator, changed, changed.identity.sha256), Kind::receiptInvalid);

    const TrashReceipt wrongContent = trashed(QStringLiteral("d.jpg"));
    EXPECT_EQ(validationFailure(validator, wrongContent, QString(64, QLatin1Char('0'))), Kind::receiptInvalid);

    const TrashReceipt noInfo = trashed(QStringLiteral("e.jpg"));
    ::unlink(QFile::encodeName(box.homeTrash() + QLatin1String("/info/e.jpg.trashinfo")).constData());
    EXPECT_EQ(validationFailure(validator, noInfo, noInfo.identity.sha256), Kind::receiptInvalid);

    TrashReceipt outsideTrash = trashed(QStringLiteral("f.jpg"));
    outsideTrash.resultingURL = FileUrl::fromLocalPath(box.tree.write(QStringLiteral("files/f.jpg"), "pixels of f.jpg"));
    outsideTrash.identity = FileIdentity::capture(outsideTrash.resultingURL.path(), false);
    EXPECT_EQ(validationFailure(validator, outsideTrash, outsideTrash.identity.sha256), Kind::receiptInvalid);
}

TEST(FreedesktopTrash, capabilityProbeLeavesNothingBehind)
{
    TrashSandbox box;
    const QString original = box.addOriginal(QStringLiteral("a.jpg"), "pixels");
    FreedesktopTrashCapabilityChecker().check(FileUrl::fromLocalPath(original));
    EXPECT_EQ(entriesOf(box.source(QString())), QStringList{"a.jpg"});
    EXPECT_TRUE(entriesOf(box.homeTrash() + QLatin1String("/files")).isEmpty());
    EXPECT_TRUE(entriesOf(box.homeTrash() + QLatin1String("/info")).isEmpty());

    // A file system without any usable trash is refused, and the probe is gone all the same.
    FreedesktopTrashLayout none = topDirectoryLayout(QString());
    try {
        FreedesktopTrashCapabilityChecker(none).check(FileUrl::fromLocalPath(original));
        FAIL() << "a volume without a trash must be refused";
    } catch (const TrashTransactionError& error) {
        EXPECT_EQ(error.kind(), Kind::unsupportedVolume);
        // The refusal names the volume, never the file.
        EXPECT_EQ(error.description(), QStringLiteral("Der Papierkorb wird auf dem Volume „") + volumeFacts(original)->name
                                           + QStringLiteral("“ nicht zuverlässig unterstützt."));
    }
    EXPECT_EQ(entriesOf(box.source(QString())), QStringList{"a.jpg"});
    EXPECT_EQ(readFile(original), QByteArray("pixels"));
}

TEST(FreedesktopTrash, trashCliListsAndRestoresByteIdentical)
{
    if (QStandardPaths::findExecutable(QStringLiteral("trash-list")).isEmpty()
        || QStandardPaths::findExecutable(QStringLiteral("trash-restore")).isEmpty())
        GTEST_SKIP() << "trash-cli is not installed";
    TrashSandbox box;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_DATA_HOME"), box.dataHome());

    const QStringList names{QStringLiteral("Bild mit Leerzeichen.jpg"), QStringLiteral("100% sicher.CR2"),
                            QStringLiteral("Ärger über Öl – ß.jpg")};
    QHash<QString, QByteArray> contents;
    for (const QString& name : names) {
        QByteArray bytes(200000, '\0');
        for (int i = 0; i < bytes.size(); ++i)
            bytes[i] = char((i * 31 + name.size()) & 0xff);
        contents.insert(name, bytes);
        const QString path = box.addOriginal(name, bytes);
        const TrashReceipt receipt = FreedesktopTrashService().trash(FileUrl::fromLocalPath(path));
        FreedesktopTrashReceiptValidator().validate(receipt, FileIntegrity::sha256Hex(QByteArrayView(bytes)));
    }

    QProcess list;
    list.setProcessEnvironment(environment);
    list.start(QStringLiteral("trash-list"), {});
    ASSERT_TRUE(list.waitForFinished(60000));
    const QString listed = QString::fromUtf8(list.readAllStandardOutput());
    for (const QString& name : names)
        EXPECT_TRUE(listed.contains(box.source(name))) << listed.toStdString();

    for (const QString& name : names) {
        const QString path = box.source(name);
        ASSERT_FALSE(QFile::exists(path));
        QProcess restore;
        restore.setProcessEnvironment(environment);
        restore.setWorkingDirectory(box.source(QString()));
        restore.start(QStringLiteral("trash-restore"), {path});
        ASSERT_TRUE(restore.waitForStarted());
        restore.write("0\n");
        restore.closeWriteChannel();
        ASSERT_TRUE(restore.waitForFinished(60000));
        ASSERT_TRUE(QFile::exists(path)) << name.toStdString() << ": " << restore.readAllStandardOutput().toStdString()
                                         << restore.readAllStandardError().toStdString();
        EXPECT_EQ(readFile(path), contents.value(name));
    }
}

// On FAT and exFAT a move killed between reserving the name in the Trash and renaming onto
// it leaves an empty file there with an info file naming the original. The next move takes
// that name back instead of leaving an empty photo in the Trash; a stranger's empty file
// under the next name stays untouched.
TEST(FreedesktopTrash, abandonedReservationOfAMoveIsTakenBackAndNothingElse)
{
    TrashSandbox box;
    const QString original = box.addOriginal(QStringLiteral("IMG_3.CR2"), "raw");
    const QString stranger = box.addOriginal(QStringLiteral("IMG_4.CR2"), "other");
    const QString files = box.homeTrash() + QStringLiteral("/files/");
    const QString infos = box.homeTrash() + QStringLiteral("/info/");
    ASSERT_TRUE(QDir().mkpath(files) && QDir().mkpath(infos));
    const TrashDirectory home{box.homeTrash(), QString(), true};
    const auto leaveBehind = [&](const QString& name, const QString& source, bool marked) {
        writeFile(infos + name + QStringLiteral(".trashinfo"), FreedesktopTrashInfo::content(source, home, QDateTime::currentDateTime()));
        if (marked)
            leaveAbandonedReservation(files + name);
        else
            writeFile(files + name, "");
    };
    leaveBehind(QStringLiteral("IMG_3.CR2"), original, true);
    leaveBehind(QStringLiteral("IMG_4.CR2"), stranger, false);

    const FreedesktopTrashService service;
    EXPECT_EQ(service.trash(FileUrl::fromLocalPath(original)).resultingURL.path(), files + QStringLiteral("IMG_3.CR2"));
    EXPECT_EQ(readFile(files + QStringLiteral("IMG_3.CR2")), QByteArray("raw"));
    const QString moved = service.trash(FileUrl::fromLocalPath(stranger)).resultingURL.path();
    EXPECT_NE(moved, files + QStringLiteral("IMG_4.CR2"));
    EXPECT_EQ(readFile(moved), QByteArray("other"));
    EXPECT_TRUE(QFile::exists(files + QStringLiteral("IMG_4.CR2"))) << "not provably ours: it stays";
}
