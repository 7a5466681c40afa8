#include "TrashCoordinatorSupport.h"
#include "TrashNames.h"
#include "TrashOperationLock.h"
#include "TrashScope.h"

#include "model/Json.h"
#include "model/Text.h"
#include "platform/DurableFile.h"
#include "platform/FileSystemError.h"
#include "platform/VolumeInfo.h"

#include <QFile>
#include <QSet>
#include <fcntl.h>
#include <vector>

namespace kestrava::TrashTransactionCoordinator {

namespace {

using Kind = TrashTransactionError::Kind;
using State = TrashTransactionState;
using namespace trashdetail;

const QString collisionMessage = QStringLiteral("Vorhandenes Stagingziel stimmt nicht mit dem Original überein.");

// Nothing of the original has been touched while the entry is in one of these states.
bool stillToStage(State state)
{
    return state == State::planned || state == State::stagingIntent;
}

bool originalInPlace(State state)
{
    return stillToStage(state) || state == State::stagedVerified || state == State::deferred || state == State::failed;
}

bool sameContent(const FileIdentity& copy, const FileIdentity& source)
{
    return copy.sha256 == source.sha256 && copy.size == source.size;
}

// Whether the original still looks as captured (size and times), without hashing it again.
bool sourceLooksUnchanged(const FileIdentity& source)
{
    struct stat info {};
    if (::lstat(QFile::encodeName(source.path).constData(), &info) != 0)
        return false;
    return qint64(info.st_size) == source.size && qint64(info.st_mtim.tv_sec) == source.modificationSeconds
        && qint64(info.st_mtim.tv_nsec) == source.modificationNanoseconds
        && qint64(info.st_ctim.tv_sec) == source.statusChangeSeconds
        && qint64(info.st_ctim.tv_nsec) == source.statusChangeNanoseconds;
}

// What a preflight refuses about one file; the file's group is left out, the others go on.
bool isRefusal(TrashTransactionError::Kind kind)
{
    return kind == Kind::fileUnavailable || kind == Kind::unsupportedItem || kind == Kind::multipleHardLinks
        || kind == Kind::outsideSession;
}

// The journaled record of a refused group: its refused file, `failed` with the reason, so
// that the preparation lists it and a later run plans it again.
TrashEntry refuse(DurableTrashJournal& journal, const QUuid& sessionID, const FileUrl& source, const QUuid& groupID,
                  const FileUrl& stagingRoot, const QHash<QString, TrashEntry>& journaled, const TrashTransactionError& error)
{
    TrashEntry entry;
    if (auto it = journaled.constFind(source.path()); it != journaled.constEnd()) {
        entry = *it;
    } else {
        entry.id = QUuid::createUuid();
        entry.groupID = groupID;
        entry.sourceURL = source;
        entry.sourceIdentity.path = source.path();
        entry.stagingURL = stagingRoot.appending(json::encodeUuid(groupID))
                               .appending(json::encodeUuid(entry.id))
                               .appending(TrashNames::forStaging(text::nfc(source.fileName())));
    }
    journalState(journal, sessionID, entry, State::failed, error.description());
    return entry;
}

class Stager {
public:
    Stager(FileOps& ops, const TrashProgress& progress, int totalFiles, qint64 totalBytes)
        : ops_(ops), progress_(progress), buffer_(size_t(copyChunkBytes))
    {
        report_.totalFiles = totalFiles;
        report_.totalBytes = totalBytes;
        emitReport();
    }

    // Copies the original into `partial` (created exclusively) with plain reads and writes,
    // never a clone or reflink: the copy must not share blocks with the file it protects.
    void copy(const TrashEntry& entry, const QString& partial)
    {
        const QString name = entry.sourceURL.fileName();
        report_.currentFilename = name;
        const int in = ops_.open(QFile::encodeName(entry.sourceURL.path()), O_RDONLY | O_NOFOLLOW);
        if (in < 0)
            throw TrashTransactionError(Kind::fileUnavailable, name);
        UniqueFd source(in, ops_);
        struct stat info {};
        if (ops_.fstat(in, &info) != 0 || !entry.sourceIdentity.isOnVolumeOf(quint64(info.st_dev), entry.sourceURL.path())
            || quint64(info.st_ino) != entry.sourceIdentity.inode)
            throw TrashTransactionError(Kind::sourceChanged, name);

        UniqueFd target;
        try {
            target = createExclusive(partial, ops_);
        } catch (const FileSystemError& error) {
            if (error.errorNumber() == EEXIST)
                throw TrashTransactionError(Kind::stagingCollision, name);
            throw;
        }
        qint64 copied = 0;
        for (;;) {
            const ssize_t got = ops_.read(in, buffer_.data(), buffer_.size());
            if (got < 0)
                throw FileSystemError(FileSystemError::Operation::read, entry.sourceURL.path(), errno);
            if (got == 0)
                break;
            writeAll(target.get(), buffer_.data(), got, partial, ops_);
            copied += got;
            report_.completedBytes = bytesOfFinishedFiles_ + copied;
            emitReport();
        }
        if (ops_.fsync(target.get()) != 0)
            throw TrashTransactionError(Kind::journalUnavailable,
                                        QStringLiteral("Das Ziellaufwerk bestätigte keinen vollständigen Flush."));
        target.close(partial);
    }

    // The entry's safety copy is verified, whether copied now or found complete from an
    // earlier run: it counts with its whole size.
    void finished(const TrashEntry& entry)
    {
        ++report_.completedFiles;
        bytesOfFinishedFiles_ += entry.sourceIdentity.size;
        report_.completedBytes = bytesOfFinishedFiles_;
        report_.currentFilename = entry.sourceURL.fileName();
        emitReport();
    }

private:
    void emitReport() const
    {
        if (progress_)
            progress_(report_);
    }

    FileOps& ops_;
    const TrashProgress& progress_;
    TrashProgressReport report_;
    qint64 bytesOfFinishedFiles_ = 0;
    std::vector<char> buffer_;
};

// Steps 5a to 5f for one entry. On return the entry is stagedVerified and journaled.
void stageEntry(DurableTrashJournal& journal, const QUuid& sessionID, TrashEntry& entry, Stager& stager, FileOps& ops)
{
    const QString name = entry.sourceURL.fileName();
    const QString staging = entry.stagingURL.path();

    // On FAT and exFAT a run killed between reserving the copy's name and renaming onto it
    // left this marked empty reservation. The name belongs to this entry alone, and an empty
    // original would already count as its own copy.
    if (entry.sourceIdentity.size >= 1 && isMarkedReservation(staging, ops))
        ops.unlink(QFile::encodeName(staging));

    if (pathExists(staging)) {
        FileIdentity leftover;
        bool usable = false;
        try {
            leftover = FileIdentity::capture(staging, false);
            usable = sameContent(leftover, entry.sourceIdentity);
        } catch (const TrashTransactionError&) {
        }
        if (!usable) {
            journalState(journal, sessionID, entry, State::failed, collisionMessage);
            throw TrashTransactionError(Kind::stagingCollision, name);
        }
        entry.stagingIdentity = leftover;
        journalState(journal, sessionID, entry, State::stagedVerified);
        return;
    }

    journalState(journal, sessionID, entry, State::stagingIntent);

    const QString folder = entry.stagingURL.parent().path();
    const QString partial = staging + QLatin1String(".partial");
    const QByteArray nativePartial = QFile::encodeName(partial);
    try {
        ensureDirectory(folder, ops);
        // Our own unfinished copy from an interrupted run; its name belongs to this entry alone.
        if (pathExists(partial))
            ops.unlink(nativePartial);
        stager.copy(entry, partial);

        const FileIdentity copied = FileIdentity::capture(partial, false);
        if (!sameContent(copied, entry.sourceIdentity))
            throw TrashTransactionError(sourceLooksUnchanged(entry.sourceIdentity) ? Kind::stagingChanged : Kind::sourceChanged, name);

        try {
            renameExclusive(partial, staging, ops);
        } catch (const FileSystemError& error) {
            if (error.errorNumber() == EEXIST)
                throw TrashTransactionError(Kind::stagingCollision, name);
            throw;
        }
        flushDirectory(folder, ops);
    } catch (const KestravaError& error) {
        if (pathExists(partial))
            ops.unlink(nativePartial);
        // The user knows the original, not the safety folder's inner names: a failure of the
        // copy names the original's file.
        const auto* fileError = dynamic_cast<const FileSystemError*>(&error);
        const std::optional<FileSystemError> named = fileError && fileError->path() != entry.sourceURL.path()
            ? std::optional(FileSystemError(fileError->operation(), name, fileError->errorNumber()))
            : std::nullopt;
        // The entry's own error is what the user must read; a journal that fails as well
        // will refuse the next operation on its own.
        try {
            journalState(journal, sessionID, entry, State::failed, named ? named->description() : error.description());
        } catch (const KestravaError&) {
        }
        if (named)
            throw *named;
        throw;
    }

    FileIdentity final;
    try {
        final = FileIdentity::capture(staging, false);
    } catch (const TrashTransactionError&) {
        journalState(journal, sessionID, entry, State::failed,
                     TrashTransactionError(Kind::stagingChanged, name).description());
        throw TrashTransactionError(Kind::stagingChanged, name);
    }
    if (!sameContent(final, entry.sourceIdentity)) {
        journalState(journal, sessionID, entry, State::failed,
                     TrashTransactionError(Kind::stagingChanged, name).description());
        throw TrashTransactionError(Kind::stagingChanged, name);
    }
    entry.stagingIdentity = final;
    entry.message.reset();
    journalState(journal, sessionID, entry, State::stagedVerified);
}

} // namespace

TrashPreparation prepare(const QUuid& sessionID, const QList<TrashGroup>& groups, const FileUrl& destinationRoot,
                         const QString& journalBase, const TrashCapabilityChecking& capabilityChecker,
                         const TrashProgress& progress, const TrashTransactionOptions& options)
{
    FileOps& ops = *options.fileOps;
    TrashOperationLock lock(journalBase, ops);
    DurableTrashJournal journal(journalBase, sessionID, ops);

    QHash<QString, TrashEntry> journaledBySource;
    for (const auto& entry : journal.latestEntryList())
        journaledBySource.insert(entry.sourceURL.path(), entry);

    TrashPreparation preparation;
    preparation.sessionID = sessionID;
    preparation.stagingRoot = destinationRoot.appending(QLatin1String(safetyFolderName))
                                  .appending(json::encodeUuid(sessionID));
    ensureDirectory(preparation.stagingRoot.path(), ops);

    QSet<QString> seen;
    for (const auto& group : groups) {
        if (group.validationError)
            continue;
        // A retry plans the groups afresh, with new IDs; a motif keeps the ID its journaled
        // members already carry, so that it is never split across two groups.
        QUuid groupID = group.id;
        for (const auto& member : group.members)
            if (auto it = journaledBySource.constFind(FileUrl::fromLocalPath(member.sourceURL.path()).path());
                it != journaledBySource.constEnd()) {
                groupID = it->groupID;
                break;
            }
        // Every member passes its preflight before any is journaled: a refusal is the whole
        // group's, and the other groups go on without it.
        QList<TrashEntry> members;
        QList<bool> toJournal;
        FileUrl current;
        try {
            for (const auto& member : group.members) {
                const FileUrl source = FileUrl::fromLocalPath(member.sourceURL.path());
                current = source;
                if (seen.contains(source.path()))
                    continue;
                seen.insert(source.path());
                const auto journaledEntry = journaledBySource.constFind(source.path());
                const bool inPlace = journaledEntry == journaledBySource.constEnd() || originalInPlace(journaledEntry->state);
                if (options.sourceFolder && inPlace)
                    if (auto why = TrashScope::refusal(source, *options.sourceFolder))
                        throw TrashTransactionError(Kind::outsideSession, *why);
                if (auto it = journaledEntry; it != journaledBySource.constEnd()) {
                    TrashEntry entry = *it;
                    const bool retry = entry.state == State::failed;
                    if (retry) {
                        // A failed preparation step left the original untouched; start this file afresh.
                        entry.sourceIdentity = preflight(source);
                        entry.stagingIdentity.reset();
                        entry.message.reset();
                    }
                    members.append(entry);
                    toJournal.append(retry);
                    continue;
                }
                TrashEntry entry;
                entry.sourceIdentity = preflight(source);
                entry.id = QUuid::createUuid();
                entry.groupID = groupID;
                entry.sourceURL = source;
                entry.stagingURL = preparation.stagingRoot.appending(json::encodeUuid(groupID))
                                       .appending(json::encodeUuid(entry.id))
                                       .appending(TrashNames::forStaging(text::nfc(source.fileName())));
                members.append(entry);
                toJournal.append(true);
            }
        } catch (const TrashTransactionError& error) {
            if (!isRefusal(error.kind()))
                throw;
            preparation.entries.append(refuse(journal, sessionID, current, groupID, preparation.stagingRoot, journaledBySource, error));
            continue;
        }
        for (qsizetype i = 0; i < members.size(); ++i) {
            if (toJournal[i])
                journalState(journal, sessionID, members[i], State::planned);
            preparation.entries.append(members[i]);
        }
    }

    // One capability probe per volume that still holds originals.
    QSet<quint64> probedDevices;
    QSet<QString> summarized;
    for (const auto& entry : preparation.entries) {
        if (entry.state == State::failed || !originalInPlace(entry.state) || probedDevices.contains(entry.sourceIdentity.device))
            continue;
        probedDevices.insert(entry.sourceIdentity.device);
        const SourceVolumeSummary summary = summarizeSourceVolume(entry.sourceURL.path());
        if (!summarized.contains(summary.id)) {
            summarized.insert(summary.id);
            preparation.sourceVolumes.append(summary);
        }
        capabilityChecker.check(entry.sourceURL);
    }

    qint64 requiredBytes = 0;
    int filesToStage = 0;
    for (const auto& entry : preparation.entries) {
        if (stillToStage(entry.state)) {
            requiredBytes += entry.sourceIdentity.size;
            ++filesToStage;
        }
    }
    const TrashStorageCheck storageCheck = options.storageCheck ? options.storageCheck : defaultStorageCheck;
    if (auto message = storageCheck(requiredBytes, preparation.stagingRoot.path()))
        throw TrashTransactionError(Kind::insufficientStorage, *message);

    Stager stager(ops, progress, filesToStage, requiredBytes);
    for (auto& entry : preparation.entries) {
        if (stillToStage(entry.state)) {
            stageEntry(journal, sessionID, entry, stager, ops);
            stager.finished(entry);
        }
    }

    if (const auto staging = volumeFacts(preparation.stagingRoot.path())) {
        for (const auto& entry : preparation.entries)
            if (entry.sourceIdentity.device == staging->deviceId)
                preparation.sameVolumeAsSource = true;
    }
    return preparation;
}

} // namespace kestrava::TrashTransactionCoordinator
