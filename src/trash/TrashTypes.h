#pragma once

// The values a trash transaction keeps and journals: the proof that a file is still the
// same file (FileIdentity), the groups of files that travel to the Trash together, the
// per-file record (TrashEntry), the receipt of one move, the volumes that hold originals,
// and the whole prepared transaction that the session document stores.

#include "model/EnumNames.h"
#include "model/FileUrl.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QUuid>
#include <optional>

namespace kestrava {

struct FileIdentity {
    QString path;
    std::optional<QByteArray> bookmarkData;      // never made on Linux; kept for the format
    std::optional<QString> volumeUUID;
    std::optional<QString> documentIdentifier;   // none on Linux
    std::optional<QString> resourceIdentifier;   // "<dev>:<ino>"
    std::optional<QString> generationIdentifier; // FS_IOC_GETVERSION where the file system has it
    quint64 device = 0;
    quint64 inode = 0;
    quint64 linkCount = 0;
    qint64 size = 0;
    qint64 modificationSeconds = 0;
    qint64 modificationNanoseconds = 0;
    qint64 statusChangeSeconds = 0;
    qint64 statusChangeNanoseconds = 0;
    QString sha256;

    // Captures the identity of the file at `path` without following a symbolic link.
    // Throws TrashTransactionError: fileUnavailable (lstat or read failed), unsupportedItem
    // (not a regular file), multipleHardLinks (`requireSingleLink` and a link count other than 1).
    static FileIdentity capture(const QString& path, bool requireSingleLink);

    // True when both denote the same unchanged file: sizes and both timestamps, then the
    // content hash, then the stable identifiers present on both sides; the inode only when
    // `afterRestart` is false, and device and resourceIdentifier then too unless both sides
    // know their volume UUID. path, bookmark and link count never take part. A touch or
    // chmod makes the answer false (ctime), by design.
    bool matches(const FileIdentity& other, bool afterRestart) const;
    // Whether a file now on `deviceNow` at `pathNow` lies on this identity's volume: by volume
    // UUID where both are known (device numbers change across reboots), else by device number.
    bool isOnVolumeOf(quint64 deviceNow, const QString& pathNow) const;

    friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

// SHA-256 as 64 lower-case hex digits. The file is streamed in 4 MiB chunks; a read failure
// throws FileSystemError.
namespace FileIntegrity {
QString sha256Hex(const QString& path);
QString sha256Hex(QByteArrayView data);
} // namespace FileIntegrity

struct TrashSourceItem {
    FileUrl sourceURL;
    QString displayName; // last path component
    friend bool operator==(const TrashSourceItem&, const TrashSourceItem&) = default;
};

// Files that go to the Trash together. A group with a validationError is refused as a whole.
struct TrashGroup {
    QUuid id;
    QList<TrashSourceItem> members;
    std::optional<QString> validationError;
    friend bool operator==(const TrashGroup&, const TrashGroup&) = default;
};

enum class TrashTransactionState {
    planned, stagingIntent, stagedVerified, deferred, trashIntent,
    trashedConfirmed, cleanupIntent, stageCleaned, needsReview, failed
};
template <>
struct EnumNames<TrashTransactionState> {
    static constexpr std::array<std::pair<TrashTransactionState, std::string_view>, 10> table{{
        {TrashTransactionState::planned, "planned"},
        {TrashTransactionState::stagingIntent, "stagingIntent"},
        {TrashTransactionState::stagedVerified, "stagedVerified"},
        {TrashTransactionState::deferred, "deferred"},
        {TrashTransactionState::trashIntent, "trashIntent"},
        {TrashTransactionState::trashedConfirmed, "trashedConfirmed"},
        {TrashTransactionState::cleanupIntent, "cleanupIntent"},
        {TrashTransactionState::stageCleaned, "stageCleaned"},
        {TrashTransactionState::needsReview, "needsReview"},
        {TrashTransactionState::failed, "failed"}}};
};

// Proof of one move to the Trash: where the platform put the file and what it was there.
struct TrashReceipt {
    FileUrl sourceURL;
    FileUrl resultingURL;
    QDateTime movedAt;
    FileIdentity identity;
    friend bool operator==(const TrashReceipt&, const TrashReceipt&) = default;
};

struct TrashEntry {
    QUuid id;
    QUuid groupID;
    FileUrl sourceURL;
    FileUrl stagingURL;
    FileIdentity sourceIdentity;
    std::optional<FileIdentity> stagingIdentity;
    TrashTransactionState state = TrashTransactionState::planned;
    std::optional<TrashReceipt> receipt;
    std::optional<QString> message;
    friend bool operator==(const TrashEntry&, const TrashEntry&) = default;
};

// One volume that holds originals, as the confirmation screen shows it.
struct SourceVolumeSummary {
    QString id;
    QString name;
    QString format;
    bool isLocal = true;
    bool isRemovable = false;

    // "ext4 · lokal", "nfs4 · Netzwerk", "vfat · lokal · entfernbar"
    QString description() const;
    friend bool operator==(const SourceVolumeSummary&, const SourceVolumeSummary&) = default;
};
size_t qHash(const SourceVolumeSummary& volume, size_t seed = 0) noexcept;

// The volume that holds `path`, by the rules for id, name and format above.
SourceVolumeSummary summarizeSourceVolume(const QString& path);

struct TrashPreparation {
    QUuid sessionID;
    FileUrl stagingRoot;
    QList<TrashEntry> entries;
    QList<SourceVolumeSummary> sourceVolumes;
    bool sameVolumeAsSource = false;

    // Entries a person must look at: needsReview, and trashIntent without a confirmation
    // (the move may or may not have happened).
    int needsReviewCount() const;
    qint64 totalBytes() const;
    friend bool operator==(const TrashPreparation&, const TrashPreparation&) = default;
};

} // namespace kestrava
