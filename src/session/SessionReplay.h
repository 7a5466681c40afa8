#pragma once

#include "SortSession.h"

#include <QByteArray>

namespace kestrava {

// Folds the bytes of an event log into a decoded snapshot, in file order. Events whose
// sequence is not above `session.lastEventSequence` are already part of the snapshot and are
// skipped. Every other event sets the decision or category of each photo whose path it names,
// moves `currentIndex` (decision and category events only), stores its execution record, and
// advances `lastEventSequence` and `updatedAt` to its own.
//
// Linear in the size of the log plus the number of photos. Throws
// SessionStoreError::corruptSession when the log is not UTF-8 or any line does not decode; the
// session is then left in an unspecified, partly replayed state and must be discarded.
void replayEvents(SortSession& session, const QByteArray& log);

} // namespace kestrava
