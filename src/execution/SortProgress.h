#pragma once

// What a running sort reports while it works and when it ends.

#include "model/PhotoModel.h"
#include "session/SortSession.h"

#include <QList>
#include <QString>

namespace kestrava {

struct SortProgress {
    SortPhase phase = SortPhase::preparing;
    int completedFiles = 0;
    int totalFiles = 0;
    qint64 completedBytes = 0;
    qint64 totalBytes = 0;
    QString currentFilename;
    double bytesPerSecond = 0;   // bytes written by this run so far / seconds since it started

    friend bool operator==(const SortProgress&, const SortProgress&) = default;
};

struct SortResult {
    int organizedCount = 0;       // photos copied or moved by this run (their sidecars go along uncounted)
    int skippedCount = 0;         // files an earlier run had finished, validated and left alone
    int pendingCount = 0;         // files left for the next run: not reached (cancelled, disk full) or moved
                                  // copies whose original could not be removed yet
    int trashedCount = 0;         // always 0 here: the trash transaction moves files to the Trash
    int retainedDiscardCount = 0; // files decided delete that this run left where they are
    int untouchedCount = 0;       // photos the plan leaves alone
    QStringList errors;           // German messages, each once: per failed file, then why the run stopped
    QList<ExecutionRecord> records; // the outcome of every action, in the order run
    bool cancelled = false;       // the run stopped early (asked to, or disk full); pending files resume later

    friend bool operator==(const SortResult&, const SortResult&) = default;
};

} // namespace kestrava
