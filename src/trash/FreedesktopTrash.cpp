#include "FreedesktopTrash.h"

#include "TrashNames.h"
#include "TrashTransactionError.h"

#include "platform/DurableFile.h"
#include "platform/FileSystemError.h"
#include "platform/VolumeInfo.h"

#include <QFile>
#include <QScopeGuard>
#include <QFileInfo>
#include <QUuid>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrava {

namespace {

using Kind = TrashTransactionError::Kind;

QString candidateName(const QString& name, int attempt)
{
    if (attempt == 1)
        return name;
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    const QString stem = dot > 0 ? name.left(dot) : name;
    const QString suffix = dot > 0 ? name.mid(dot) : QString();
    return stem + QLatin1Char('_') + QString::number(attempt) + suffix;
}

// How a refusal names the volume: its label, else its mount point; never a file's name.
QString volumeNameOf(const QString& path)
{
    const auto facts = volumeFacts(path);
    if (!facts)
        return path;
    return !facts->name.isEmpty() && facts->name != QLatin1String("/") ? facts->name : facts->mountPoint;
}

// The top-directory trash folders a probe on `path`'s file system could create.
QStringList topDirectoryTrashRoots(const FreedesktopTrashLayout& layout, const QString& path)
{
    QString top = layout.mountPointOf(path);
    if (top.isEmpty())
        return {};
    if (top.endsWith(QLatin1Char('/')))
        top.chop(1);
    const QString uid = QString::number(layout.uid);
    return {top + QLatin1String("/.Trash-") + uid, top + QLatin1String("/.Trash/") + uid};
}

// Takes back trash folders a failed probe made; rmdir removes only empty ones.
void removeEmptyTrashFolders(const QStringList& roots)
{
    for (const QString& root : roots) {
        ::rmdir(QFile::encodeName(root + QLatin1String("/files")).constData());
        ::rmdir(QFile::encodeName(root + QLatin1String("/info")).constData());
        ::rmdir(QFile::encodeName(root).constData());
    }
}

bool exists(const QString& path)
{
    struct stat info {};
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0;
}

// A move killed between reserving the name in files/ and renaming onto it (FAT, exFAT) left
// the marked empty reservation beside an info file naming this very original, which is still
// in place and not empty. Both go, so the Trash shows no empty photo and the name serves again.
// The reservation first: an info file without its file is what the Trash ignores.
bool clearAbandonedMove(const QString& infoPath, const QString& target, const QString& source, qint64 size,
                        const TrashDirectory& trash, FileOps& ops)
{
    if (size < 1 || !isMarkedReservation(target, ops))
        return false;
    QByteArray info;
    try {
        info = readWholeFile(infoPath, qint64(1) << 16, ops);
    } catch (const FileSystemError&) {
        return false;
    }
    if (FreedesktopTrashInfo::originalPath(info, trash) != source)
        return false;
    return ops.unlink(QFile::encodeName(target)) == 0 && ops.unlink(QFile::encodeName(infoPath)) == 0;
}

} // namespace

FreedesktopTrashService::FreedesktopTrashService(FreedesktopTrashLayout layout, FileOps& ops)
    : layout_(std::move(layout)), ops_(ops)
{
}

TrashReceipt FreedesktopTrashService::trash(const FileUrl& url) const
{
    const QString source = url.path();
    const QString name = url.fileName();
    struct stat item {};
    if (ops_.lstat(QFile::encodeName(source), &item) != 0)
        throw FileSystemError(FileSystemError::Operation::inspect, source, errno);

    const auto trash = layout_.trashDirectoryFor(source, true);
    if (!trash)
        throw TrashTransactionError(Kind::unsupportedVolume, volumeNameOf(source));

    for (int attempt = 1; attempt < 10000; ++attempt) {
        const QString trashName = TrashNames::forTrash(candidateName(name, attempt));
        const QString infoPath = trash->infoFolder() + QLatin1Char('/') + trashName + QLatin1String(".trashinfo");
        const QString target = trash->filesFolder() + QLatin1Char('/') + trashName;
        UniqueFd info;
        try {
            info = createExclusive(infoPath, ops_);
        } catch (const FileSystemError& error) {
            if (error.errorNumber() == EEXIST) {
                if (clearAbandonedMove(infoPath, target, source, qint64(item.st_size), *trash, ops_))
                    --attempt;
                continue;
            }
            throw;
        }
        // The info file is durable before the move: after a crash in between, the file sits
        // in the Trash with the record of where it came from, never nameless.
        const QByteArray content = FreedesktopTrashInfo::content(source, *trash, QDateTime::currentDateTime());
        const auto removeInfo = [&] {
            ops_.unlink(QFile::encodeName(infoPath));
        };
        {
            auto infoNotWritten = qScopeGuard([&] {
                info = UniqueFd();
                removeInfo();
            });
            writeAll(info.get(), content.constData(), content.size(), infoPath, ops_);
            if (ops_.fsync(info.get()) != 0)
                throw FileSystemError(FileSystemError::Operation::flush, infoPath, errno);
            info.close(infoPath);
            flushDirectory(trash->infoFolder(), ops_);
            infoNotWritten.dismiss();
        }

        try {
            renameExclusive(source, target, ops_);
        } catch (const FileSystemError& error) {
            removeInfo();
            if (error.errorNumber() == EEXIST && exists(source))
                continue;
            if (error.errorNumber() == EXDEV)
                throw TrashTransactionError(Kind::unsupportedVolume, volumeNameOf(source));
            throw;
        }
        flushDirectory(trash->filesFolder(), ops_);
        flushDirectory(QFileInfo(source).path(), ops_);

        TrashReceipt receipt;
        receipt.sourceURL = url;
        receipt.resultingURL = FileUrl::fromLocalPath(target);
        receipt.movedAt = QDateTime::currentDateTimeUtc();
        receipt.identity = FileIdentity::capture(target, false);
        return receipt;
    }
    throw TrashTransactionError(Kind::unsupportedVolume, volumeNameOf(source));
}

FreedesktopTrashCapabilityChecker::FreedesktopTrashCapabilityChecker(FreedesktopTrashLayout layout)
    : layout_(std::move(layout))
{
}

void FreedesktopTrashCapabilityChecker::check(const FileUrl& url) const
{
    const QString source = url.path();
    const auto facts = volumeFacts(source);
    if (!facts || !facts->isLocal || facts->isReadOnly)
        throw TrashTransactionError(Kind::unsupportedVolume, volumeNameOf(source));

    const QString uuid = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
    const QString folder = url.parent().path() + QLatin1String("/.kestrava-trash-probe-folder-") + uuid;
    const QString probe = folder + QLatin1String("/.kestrava-trash-probe-") + uuid;
    const QByteArray nativeFolder = QFile::encodeName(folder);
    if (::mkdir(nativeFolder.constData(), 0700) != 0)
        throw TrashTransactionError(Kind::unsupportedVolume, volumeNameOf(source));

    QStringList absentBefore;
    for (const QString& root : topDirectoryTrashRoots(layout_, folder))
        if (!exists(root))
            absentBefore.append(root);
    bool passed = false;
    try {
        createExclusive(probe).close(probe);
        const TrashReceipt receipt = FreedesktopTrashService(layout_).trash(FileUrl::fromLocalPath(probe));
        const QString trashed = receipt.resultingURL.path();
        passed = exists(trashed);
        // Only the probe, which this function made empty a moment ago, is ever deleted.
        const QString infoPath = QFileInfo(QFileInfo(trashed).path()).path() + QLatin1String("/info/")
            + QFileInfo(trashed).fileName() + QLatin1String(".trashinfo");
        ::unlink(QFile::encodeName(trashed).constData());
        ::unlink(QFile::encodeName(infoPath).constData());
    } catch (const KestravaError&) {
        passed = false;
    }
    ::unlink(QFile::encodeName(probe).constData());
    ::rmdir(nativeFolder.constData());
    if (!passed) {
        removeEmptyTrashFolders(absentBefore);
        throw TrashTransactionError(Kind::unsupportedVolume, volumeNameOf(source));
    }
}

FreedesktopTrashReceiptValidator::FreedesktopTrashReceiptValidator(FreedesktopTrashLayout layout)
    : layout_(std::move(layout))
{
}

void FreedesktopTrashReceiptValidator::validate(const TrashReceipt& receipt, const QString& expectedSHA256) const
{
    const TrashTransactionError invalid(Kind::receiptInvalid, receipt.sourceURL.fileName());
    const QString resulting = receipt.resultingURL.path();
    if (!exists(resulting))
        throw invalid;

    const QString filesFolder = QFileInfo(resulting).path();
    if (QFileInfo(filesFolder).fileName() != QLatin1String("files"))
        throw invalid;
    const auto trash = layout_.trashDirectoryFor(resulting, false);
    if (!trash || trash->filesFolder() != filesFolder)
        throw invalid;
    const QString infoPath = trash->infoFolder() + QLatin1Char('/') + QFileInfo(resulting).fileName() + QLatin1String(".trashinfo");
    QByteArray info;
    try {
        info = readWholeFile(infoPath, 1 << 20);
    } catch (const FileSystemError&) {
        throw invalid;
    }
    const auto original = FreedesktopTrashInfo::originalPath(info, *trash);
    if (!original || FileUrl::fromLocalPath(*original) != receipt.sourceURL)
        throw invalid;

    FileIdentity now;
    try {
        now = FileIdentity::capture(resulting, false);
    } catch (const TrashTransactionError&) {
        throw invalid;
    }
    if (!now.matches(receipt.identity, false) || now.sha256 != expectedSHA256)
        throw invalid;
}

} // namespace kestrava
