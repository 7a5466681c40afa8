#include "TrashLookup.h"

#include "platform/DurableFile.h"
#include "platform/FileSystemError.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <sys/stat.h>

namespace kestrava {

namespace {

// A rename keeps the file, its size and its modification time; its status-change time
// moves, so the identity's own comparison (which includes it) cannot be used here.
bool sameFileMoved(const QString& path, const FileIdentity& identity)
{
    struct stat info {};
    if (::lstat(QFile::encodeName(path).constData(), &info) != 0 || !S_ISREG(info.st_mode))
        return false;
    if (quint64(info.st_dev) != identity.device || quint64(info.st_ino) != identity.inode
        || qint64(info.st_size) != identity.size || qint64(info.st_mtim.tv_sec) != identity.modificationSeconds
        || qint64(info.st_mtim.tv_nsec) != identity.modificationNanoseconds)
        return false;
    try {
        return FileIntegrity::sha256Hex(path) == identity.sha256;
    } catch (const FileSystemError&) {
        return false;
    }
}

} // namespace

FreedesktopTrashReceipts::FreedesktopTrashReceipts(FreedesktopTrashLayout layout, FileOps& ops)
    : FreedesktopTrashReceiptValidator(layout), layout_(std::move(layout)), ops_(ops)
{
}

std::optional<TrashReceipt> FreedesktopTrashReceipts::locate(const FileUrl& original, const FileIdentity& identity) const
{
    const QString originalPath = original.path();
    const auto trash = layout_.trashDirectoryFor(QFileInfo(originalPath).path(), false);
    if (!trash)
        return std::nullopt;
    const QStringList infoNames =
        QDir(trash->infoFolder()).entryList({QStringLiteral("*.trashinfo")}, QDir::Files | QDir::Hidden, QDir::Name);
    std::optional<TrashReceipt> found;
    for (const QString& infoName : infoNames) {
        const QString infoPath = trash->infoFolder() + QLatin1Char('/') + infoName;
        QByteArray content;
        try {
            content = readWholeFile(infoPath, 1 << 20, ops_);
        } catch (const FileSystemError&) {
            continue;
        }
        const auto named = FreedesktopTrashInfo::originalPath(content, *trash);
        if (!named || FileUrl::fromLocalPath(*named) != original)
            continue;
        const QString trashed = trash->filesFolder() + QLatin1Char('/') + infoName.chopped(int(strlen(".trashinfo")));
        struct stat info {};
        if (::lstat(QFile::encodeName(trashed).constData(), &info) != 0) {
            // The info file is written before the move; alone, it records a move that never
            // happened. It is Kestrava's own record, not a photo.
            if (errno == ENOENT && ops_.unlink(QFile::encodeName(infoPath)) == 0)
                flushDirectory(trash->infoFolder(), ops_);
            continue;
        }
        if (found || !sameFileMoved(trashed, identity))
            continue;
        TrashReceipt receipt;
        receipt.sourceURL = original;
        receipt.resultingURL = FileUrl::fromLocalPath(trashed);
        receipt.movedAt = QDateTime::currentDateTimeUtc();
        receipt.identity = FileIdentity::capture(trashed, false);
        found = receipt;
    }
    return found;
}

} // namespace kestrava
