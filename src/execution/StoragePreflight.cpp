#include "StoragePreflight.h"

#include "SortExecutionPlan.h"

#include "model/Text.h"
#include "platform/VolumeInfo.h"

#include <QFile>
#include <QHash>

#include <cmath>
#include <limits>
#include <sys/stat.h>
#include <sys/statvfs.h>

namespace kestrava::StoragePreflight {

namespace {

constexpr qint64 minimumReserve = qint64(1) << 30;

std::optional<dev_t> deviceOf(const QString& path)
{
    struct stat info {};
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return std::nullopt;
    return info.st_dev;
}

bool exists(const QString& path)
{
    struct stat info {};
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0;
}

qint64 checkedAdd(qint64 a, qint64 b)
{
    qint64 sum = 0;
    if (__builtin_add_overflow(a, b, &sum))
        qFatal("Storage preflight: byte count overflows");
    return sum;
}

} // namespace

FileUrl closestExistingAncestor(const FileUrl& url)
{
    FileUrl current = url;
    while (!exists(current.path())) {
        const FileUrl parent = current.parent();
        if (parent == current)
            break;
        current = parent;
    }
    return current;
}

QString volumeIdentity(const FileUrl& url)
{
    const std::optional<VolumeFacts> facts = volumeFacts(closestExistingAncestor(url).path());
    return facts ? facts->identity : QString();
}

std::optional<qint64> availableCapacity(const FileUrl& url)
{
    // Linux reports one figure (what this user may write) where other systems report three;
    // the largest of one is that one. Asked here rather than taken from the volume facts,
    // whose 0 would read as "full" when the question could not be answered.
    struct statvfs space {};
    if (::statvfs(QFile::encodeName(closestExistingAncestor(url).path()).constData(), &space) != 0)
        return std::nullopt;
    // A file system without a size (pseudo and some FUSE file systems) does not know its free
    // space either.
    if (space.f_blocks == 0)
        return std::nullopt;
    return qint64(space.f_bavail) * qint64(space.f_frsize);
}

qint64 effectiveSize(const PhotoItem& item)
{
    if (item.fileSize > 0)
        return item.fileSize;
    struct stat info {};
    if (::stat(QFile::encodeName(item.sourceURL.path()).constData(), &info) != 0)
        return 0;
    return qint64(info.st_size);
}

StorageEstimate evaluate(qint64 requiredBytes, std::optional<qint64> availableBytes, bool sameVolumeMove)
{
    StorageEstimate result;
    result.requiredBytes = requiredBytes;
    result.sameVolumeMove = sameVolumeMove;
    result.availableBytes = availableBytes;

    const double fivePercent = std::trunc(double(requiredBytes) * 0.05);
    if (!std::isfinite(fivePercent) || fivePercent >= 9223372036854775808.0 || fivePercent < -9223372036854775808.0)
        qFatal("Storage preflight: reserve out of range");
    result.reserveBytes = std::max(qint64(fivePercent), minimumReserve);

    if (!availableBytes) {
        result.isSufficient = false;
        result.message = QStringLiteral("Der freie Speicher des Zielvolumes konnte nicht ermittelt werden.");
        return result;
    }
    const qint64 total = checkedAdd(requiredBytes, result.reserveBytes);
    const QString totalText = text::formatByteCount(total);
    const QString availableText = text::formatByteCount(*availableBytes);
    result.isSufficient = total <= *availableBytes;
    result.message = result.isSufficient
        ? QStringLiteral("Benötigt einschließlich Reserve: ") + totalText + QStringLiteral(" · Frei: ") + availableText
        : QStringLiteral("Zu wenig Speicher: benötigt ") + totalText + QStringLiteral(", verfügbar ") + availableText
              + QStringLiteral(". Bitte wähle ein anderes Ziel.");
    return result;
}

StorageEstimate estimate(const QList<PhotoItem>& items, const SortOptions& options,
                         const QMap<QString, ExecutionRecord>& existingRecords)
{
    const FileUrl destination = closestExistingAncestor(options.destinationRoot);
    const std::optional<dev_t> destinationDevice = deviceOf(destination.path());
    const bool moving = options.operationMode != SortOperationMode::safeCopy;

    // One stat per source folder rather than per photo: a card holds thousands of files in a
    // handful of folders.
    QHash<QString, std::optional<dev_t>> folderDevices;
    const auto onDestinationVolume = [&](const PhotoItem& item) {
        const QString folder = item.sourceURL.parent().path();
        auto found = folderDevices.find(folder);
        if (found == folderDevices.end())
            found = folderDevices.insert(folder, deviceOf(folder));
        return destinationDevice && *found && **found == *destinationDevice;
    };

    qint64 required = 0;
    int counted = 0;
    int renamed = 0;
    for (const PhotoItem& item : items) {
        if (!ResumableSortExecutor::receivesAction(item, options.operationMode))
            continue;
        const auto record = existingRecords.constFind(item.sourceURL.path());
        if (record != existingRecords.constEnd() && record->status == ExecutionActionStatus::completed)
            continue;
        ++counted;
        if (moving && onDestinationVolume(item)) {
            ++renamed;
            continue;
        }
        required = checkedAdd(required, effectiveSize(item));
    }
    const bool sameVolumeMove = moving && counted > 0 && renamed == counted;
    return evaluate(required, availableCapacity(options.destinationRoot), sameVolumeMove);
}

} // namespace kestrava::StoragePreflight
