#include "InterruptPoint.h"
#include "TrashCoordinatorSupport.h"
#include "TrashOperationLock.h"
#include "TrashScope.h"

#include "platform/DurableFile.h"
#include "platform/FileSystemError.h"

#include <QDir>
#include <QFile>
#include <unistd.h>

namespace kestrava::TrashTransactionCoordinator {

namespace {

using Kind = TrashTransactionError::Kind;
using State = TrashTransactionState;
using namespace trashdetail;

bool readyToTrash(State state)
{
    return state == State::stagedVerified || state == State::deferred;
}

bool inTrash(State state)
{
    return state == State::trashedConfirmed || state == State::cleanupIntent || state == State::stageCleaned;
}

// Step 1: every original and copy must still be what was verified, before anything moves.
void precheck(const TrashEntry& entry, const std::optional<QString>& sourceFolder)
{
    const QString name = entry.sourceURL.fileName();
    if (sourceFolder)
        if (auto why = TrashScope::refusal(entry.sourceURL, *sourceFolder))
            throw TrashTransactionError(Kind::outsideSession, *why);
    const FileIdentity source = FileIdentity::capture(entry.sourceURL.path(), true);
    if (!source.matches(entry.sourceIdentity, false))
        throw TrashTransactionError(Kind::sourceChanged, name);
    FileIdentity copy;
    try {
        copy = FileIdentity::capture(entry.stagingURL.path(), false);
    } catch (const TrashTransactionError&) {
        throw TrashTransactionError(Kind::stagingChanged, name);
    }
    if (!entry.stagingIdentity || !copy.matches(*entry.stagingIdentity, false))
        throw TrashTransactionError(Kind::stagingChanged, name);
}

// Step 3: the same checks, immediately before the move; a failure is a review case.
std::optional<QString> recheck(const TrashEntry& entry)
{
    FileIdentity source;
    try {
        source = FileIdentity::capture(entry.sourceURL.path(), true);
    } catch (const TrashTransactionError&) {
        return QStringLiteral("Original ist vor der Papierkorbaktion nicht mehr eindeutig erreichbar.");
    }
    if (!source.matches(entry.sourceIdentity, false))
        return QStringLiteral("Originalidentität hat sich vor der Papierkorbaktion geändert.");
    const QString changedCopy = QStringLiteral("Sicherheitskopie hat sich vor der Papierkorbaktion geändert.");
    try {
        const FileIdentity copy = FileIdentity::capture(entry.stagingURL.path(), false);
        if (!entry.stagingIdentity || !copy.matches(*entry.stagingIdentity, false))
            return changedCopy;
    } catch (const TrashTransactionError&) {
        return changedCopy;
    }
    return std::nullopt;
}

// Empty entry, group and session folders go too, and the safety folder itself once it is
// empty; a folder that still holds anything stays.
void removeEmptyFolders(const QString& entryFolder, FileOps& ops)
{
    QString folder = entryFolder;
    QString removedFrom;
    for (int level = 0; level < 4; ++level) {
        if (level == 3 && QFileInfo(folder).fileName() != QLatin1String(safetyFolderName))
            break;
        if (::rmdir(QFile::encodeName(folder).constData()) != 0)
            break;
        folder = QFileInfo(folder).path();
        removedFrom = folder;
    }
    if (!removedFrom.isEmpty())
        flushDirectory(removedFrom, ops);
}

// Removes the copies of a motif whose files are all confirmed in the Trash. The copy is
// the only thing Kestrava ever deletes, and only once its original is proven to be in the Trash.
void cleanUp(DurableTrashJournal& journal, const QUuid& sessionID, QList<TrashEntry*>& members, FileOps& ops)
{
    for (TrashEntry* entry : members) {
        if (entry->state == State::stageCleaned)
            continue;
        if (entry->state == State::trashedConfirmed)
            journalState(journal, sessionID, *entry, State::cleanupIntent);
        const QString staging = entry->stagingURL.path();
        const QString folder = entry->stagingURL.parent().path();
        if (ops.unlink(QFile::encodeName(staging)) != 0 && errno != ENOENT)
            throw FileSystemError(FileSystemError::Operation::remove, entry->sourceURL.fileName(), errno);
        // A run killed after removing the entry's folder but before journaling it left no
        // folder to flush; the removal of the copy is what counts and it is done.
        if (pathExists(folder))
            flushDirectory(folder, ops);
        removeEmptyFolders(folder, ops);
        journalState(journal, sessionID, *entry, State::stageCleaned);
    }
}

} // namespace

TrashPreparation commit(const TrashPreparation& preparation, const QString& journalBase, const TrashService& trashService,
                        const TrashReceiptValidating& receiptValidator, const TrashProgress& progress,
                        const TrashTransactionOptions& options)
{
    FileOps& ops = *options.fileOps;
    TrashOperationLock lock(journalBase, ops);
    DurableTrashJournal journal(journalBase, preparation.sessionID, ops);
    const QUuid sessionID = preparation.sessionID;

    TrashPreparation result = preparation;
    result.entries = withJournaledStates(preparation.entries, journal.latestEntries());

    // A move announced by a run that never confirmed it is settled from the disk, so that the
    // user is never left with a transaction nothing can continue.
    for (auto& entry : result.entries)
        if (awaitsSettlement(entry))
            settleInterruptedMove(journal, sessionID, entry, receiptValidator);

    // Step 1: nothing moves unless every waiting original and copy is still what was
    // verified. The entry that differs is held for review, so it stops this commit but not
    // the next one.
    for (auto& entry : result.entries) {
        if (!readyToTrash(entry.state))
            continue;
        try {
            precheck(entry, options.sourceFolder);
        } catch (const TrashTransactionError& error) {
            journalState(journal, sessionID, entry, State::needsReview, error.description());
            throw;
        }
    }

    QList<QUuid> groupOrder;
    QHash<QUuid, QList<TrashEntry*>> groups;
    QHash<QString, QList<TrashEntry*>> motifs;
    for (auto& entry : result.entries) {
        if (!groups.contains(entry.groupID))
            groupOrder.append(entry.groupID);
        groups[entry.groupID].append(&entry);
        motifs[motifKey(entry.sourceURL)].append(&entry);
    }

    TrashProgressReport report;
    for (const auto& entry : result.entries) {
        if (readyToTrash(entry.state)) {
            report.totalBytes += entry.sourceIdentity.size;
            ++report.totalFiles;
        }
    }
    if (progress)
        progress(report);

    const auto cleanUpCompleteMotifs = [&] {
        for (QList<TrashEntry*>& members : motifs) {
            const bool wholeMotifInTrash = std::all_of(members.begin(), members.end(),
                                                       [](const TrashEntry* e) { return inTrash(e->state); });
            if (wholeMotifInTrash)
                cleanUp(journal, sessionID, members, ops);
        }
    };

    for (const QUuid& groupID : groupOrder) {
        QList<TrashEntry*>& members = groups[groupID];
        for (TrashEntry* entry : members) {
            if (!readyToTrash(entry->state))
                continue;
            // A stop request is honoured between files, never inside one move.
            if (options.isCanceled && options.isCanceled()) {
                cleanUpCompleteMotifs();
                return result;
            }
            const QString name = entry->sourceURL.fileName();
            if (auto problem = recheck(*entry)) {
                journalState(journal, sessionID, *entry, State::needsReview, *problem);
                throw TrashTransactionError(Kind::transactionNeedsReview, name);
            }
            journalState(journal, sessionID, *entry, State::trashIntent);

            TrashReceipt receipt;
            try {
                receipt = trashService.trash(entry->sourceURL);
            } catch (const KestravaError& error) {
                journalState(journal, sessionID, *entry, State::needsReview, error.description());
                throw TrashTransactionError(Kind::transactionNeedsReview, name);
            }
            try {
                receiptValidator.validate(receipt, entry->sourceIdentity.sha256);
            } catch (const KestravaError& error) {
                entry->receipt = receipt;
                journalState(journal, sessionID, *entry, State::needsReview, error.description());
                throw TrashTransactionError(Kind::receiptInvalid, name);
            }
            entry->receipt = receipt;
            journalState(journal, sessionID, *entry, State::trashedConfirmed);
            testhooks::interruptPoint(QStringLiteral("commit.after-move"), options.isCanceled);
            ++report.completedFiles;
            report.completedBytes += entry->sourceIdentity.size;
            report.currentFilename = name;
            if (progress)
                progress(report);
        }
    }
    cleanUpCompleteMotifs();
    return result;
}

} // namespace kestrava::TrashTransactionCoordinator
