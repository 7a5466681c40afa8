#pragma once

// Matching the rows of a recovery CSV to the files of a freshly scanned folder.
//
// A row names its file by the relative path below the photo folder when the column is
// present (with or without the file name at its end), otherwise by its file name alone; both
// compare lower-cased. When the name fits several files, the row's format narrows the
// candidates. A row that still fits more than one file is ambiguous and fails the whole
// import; a row that fits none is left unmatched.

#include "session/RecoveryCsv.h"

namespace kestrava {

struct RecoveryMatch {
    // Per matched file (source URL), the row's decision; a later row for the same file wins.
    QHash<FileUrl, PhotoDecision> decisions;
    int matchedRows = 0;
    int unmatchedRows = 0;
};

// Throws SessionStoreError::ambiguousRecoveryRow naming the first ambiguous row's file name.
RecoveryMatch matchRecoveryRows(const QList<RecoveryCSVRow>& rows, const QList<PhotoItem>& inventory);

} // namespace kestrava
