#include "TrashCoordinatorSupport.h"

#include "TrashOperationLock.h"

#include "model/Text.h"
#include "platform/VolumeInfo.h"

#include <QFile>
#include <QtConcurrent/QtConcurrentRun>
#include <cmath>
#include <sys/stat.h>

namespace kestrava {

namespace trashdetail {

bool pathExists(const QString& path)
{
    struct stat info {};
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0;
}

std::optional<QString> defaultStorageCheck(qint64 requiredBytes, const QString& folder)
{
    constexpr qint64 minimumReserve = qint64(1) << 30;
    const qint64 reserve = std::max(qint64(std::trunc(double(requiredBytes) * 0.05)), minimumReserve);
    const auto facts = volumeFacts(folder);
    if (!facts)
        return QStringLiteral("Der freie Speicher des Zielvolumes konnte nicht ermittelt werden.");
    const qint64 total = requiredBytes + reserve;
    if (total <= facts->availableBytes)
        return std::nullopt;
    return QStringLiteral("Zu wenig Speicher: benötigt %1, verfügbar %2. Bitte wähle ein anderes Ziel.")
        .arg(text::formatByteCount(total), text::formatByteCount(facts->availableBytes));
}

void journalState(DurableTrashJournal& journal, const QUuid& sessionID, TrashEntry& entry,
                  TrashTransactionState state, std::optional<QString> message)
{
    TrashEntry next = entry;
    next.state = state;
    if (message)
        next.message = std::move(message);
    journal.append(state, next, sessionID);
    entry = std::move(next);
}

QList<TrashEntry> withJournaledStates(const QList<TrashEntry>& entries, const QHash<QUuid, TrashEntry>& latest)
{
    QList<TrashEntry> out = entries;
    for (auto& entry : out)
        if (auto it = latest.constFind(entry.id); it != latest.constEnd())
            entry = *it;
    return out;
}

} // namespace trashdetail

namespace TrashTransactionCoordinator {

FileIdentity preflight(const FileUrl& source)
{
    using Kind = TrashTransactionError::Kind;
    const QString name = source.fileName();
    struct stat info {};
    if (::lstat(QFile::encodeName(source.path()).constData(), &info) != 0)
        throw TrashTransactionError(Kind::fileUnavailable, name);
    if (!S_ISREG(info.st_mode))
        throw TrashTransactionError(Kind::unsupportedItem, name);
    const auto facts = volumeFacts(source.path());
    if (!facts || !facts->isLocal || facts->isReadOnly)
        throw TrashTransactionError(Kind::unsupportedVolume, name);
    return FileIdentity::capture(source.path(), true);
}

TrashPreparation markDeferred(const TrashPreparation& preparation, const QString& journalBase,
                              const TrashTransactionOptions& options)
{
    TrashOperationLock lock(journalBase, *options.fileOps);
    DurableTrashJournal journal(journalBase, preparation.sessionID, *options.fileOps);
    TrashPreparation result = preparation;
    result.entries = trashdetail::withJournaledStates(preparation.entries, journal.latestEntries());
    for (auto& entry : result.entries)
        if (entry.state == TrashTransactionState::stagedVerified)
            trashdetail::journalState(journal, preparation.sessionID, entry, TrashTransactionState::deferred);
    return result;
}

TrashPreparation reload(const TrashPreparation& preparation, const QString& journalBase,
                        const TrashTransactionOptions& options)
{
    DurableTrashJournal journal(journalBase, preparation.sessionID, *options.fileOps);
    TrashPreparation result = preparation;
    result.entries = trashdetail::withJournaledStates(preparation.entries, journal.latestEntries());
    return result;
}

QFuture<TrashPreparation> prepareAsync(QUuid sessionID, QList<TrashGroup> groups, FileUrl destinationRoot,
                                       QString journalBase, std::shared_ptr<const TrashCapabilityChecking> capabilityChecker,
                                       TrashProgress progress, TrashTransactionOptions options)
{
    return QtConcurrent::run([=] {
        return prepare(sessionID, groups, destinationRoot, journalBase, *capabilityChecker, progress, options);
    });
}

QFuture<TrashPreparation> commitAsync(TrashPreparation preparation, QString journalBase,
                                      std::shared_ptr<const TrashService> trashService,
                                      std::shared_ptr<const TrashReceiptValidating> receiptValidator,
                                      TrashProgress progress, TrashTransactionOptions options)
{
    return QtConcurrent::run([=] {
        return commit(preparation, journalBase, *trashService, *receiptValidator, progress, options);
    });
}

QFuture<TrashPreparation> markDeferredAsync(TrashPreparation preparation, QString journalBase, TrashTransactionOptions options)
{
    return QtConcurrent::run([=] { return markDeferred(preparation, journalBase, options); });
}

QFuture<TrashPreparation> reloadAsync(TrashPreparation preparation, QString journalBase, TrashTransactionOptions options)
{
    return QtConcurrent::run([=] { return reload(preparation, journalBase, options); });
}

} // namespace TrashTransactionCoordinator

} // namespace kestrava
