#pragma once

// Helpers shared by the coordinator's phases; not part of the subsystem's interface.

#include "DurableTrashJournal.h"
#include "TrashTransactionCoordinator.h"
#include "TrashTransactionError.h"

namespace kestrava::trashdetail {

bool pathExists(const QString& path);

// The storage message of the result-folder preflight: reserve of 5 %, at least 1 GiB.
std::optional<QString> defaultStorageCheck(qint64 requiredBytes, const QString& folder);

// Sets the state (and message) of `entry` and journals it. Throws what the journal throws;
// the caller must then not take the step the record announces.
void journalState(DurableTrashJournal& journal, const QUuid& sessionID, TrashEntry& entry,
                  TrashTransactionState state, std::optional<QString> message = std::nullopt);

// Each entry replaced by the journal's latest form of it, when the journal knows it.
QList<TrashEntry> withJournaledStates(const QList<TrashEntry>& entries, const QHash<QUuid, TrashEntry>& latest);

// The message of a move that an earlier run announced and never confirmed.
QString interruptedMoveMessage();

// True while nothing in the Trash is proven to be the entry's original.
bool awaitsSettlement(const TrashEntry& entry);

// Settles an entry whose move was announced but never confirmed, from what the disk proves:
// trashedConfirmed (with the located receipt) when the original is gone and the Trash holds
// the same file, stagedVerified when the original is untouched and the Trash holds nothing
// of it, needsReview otherwise. Journals the outcome.
void settleInterruptedMove(DurableTrashJournal& journal, const QUuid& sessionID, TrashEntry& entry,
                           const TrashReceiptValidating& receipts);

// The files of one motif share this key: folder and name without extensions, an XMP
// sidecar's ".xmp" and its photo's extension both dropped.
QString motifKey(const FileUrl& url);

} // namespace kestrava::trashdetail
