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

} // namespace kestrava::trashdetail
