#pragma once

// The write path of the run's decisions: each one is appended to the open session's event log
// before it counts. The review and the audit list decide through it; the session document it
// appends to stays with the flow that owns it.
//
// Contract: GUI thread only. Without a session store or an open session nothing is journaled
// (`isOpen` is false) and a decision counts at once. A write whose run or session is gone by
// the time it lands leaves the current session untouched.

#include "WorkflowCore.h"
#include "session/SessionEvent.h"
#include "session/SortSession.h"

#include <QFuture>

namespace kestrava {

class KestravaViewModel;

class DecisionJournal {
public:
    DecisionJournal(WorkflowCore& core, std::optional<SortSession>& session, KestravaViewModel& flow);

    bool isOpen() const { return core_.services.sessionStore && session_; }
    // Appends one event; the future fails with the store's error. Every hundredth event also
    // writes a snapshot (as if the review stood at `nextIndex`) so replay stays short.
    QFuture<qint64> append(SessionEventKind kind, const QList<FileUrl>& sourceURLs,
                           std::optional<PhotoDecision> decision, std::optional<QString> category, int nextIndex);

private:
    WorkflowCore& core_;
    std::optional<SortSession>& session_;
    KestravaViewModel& flow_;
};

} // namespace kestrava
