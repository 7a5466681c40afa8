#pragma once

// The session as the person handles it: the offer to continue an unfinished sort, when the
// state was last saved, and session documents and recovery lists opened or saved by hand.
// The journal and the snapshots of the running review stay with the flow that writes them;
// this stage uses the flow's public operations (apply, snapshot, recovery) and nothing else.
//
// Contract: GUI thread only. Opening anything is refused while a sort or trash step runs,
// because it would reset the state that task still works on.

#include "WorkflowCore.h"
#include "session/SortSession.h"

#include <QDateTime>
#include <QObject>

namespace kestrava {

class KestravaViewModel;

class SessionStage : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool hasResumableSession READ hasResumableSession NOTIFY resumableSessionChanged)
    Q_PROPERTY(bool showResumeChoice READ showResumeChoice NOTIFY showResumeChoiceChanged)
    Q_PROPERTY(QString resumableSessionDescription READ resumableSessionDescription NOTIFY resumableSessionChanged)
    Q_PROPERTY(QDateTime lastSavedAt READ lastSavedAtValue NOTIFY lastSavedAtChanged)
    Q_PROPERTY(QString savedStatusText READ savedStatusText NOTIFY lastSavedAtChanged)
    Q_PROPERTY(bool canOpenSessionDocument READ canOpenSessionDocument NOTIFY canOpenSessionDocumentChanged)

public:
    SessionStage(WorkflowCore& core, KestravaViewModel& flow);

    const std::optional<SortSession>& resumableSession() const { return resumable_; }
    bool hasResumableSession() const { return resumable_.has_value(); }
    bool showResumeChoice() const;
    QString resumableSessionDescription() const;
    const std::optional<QDateTime>& lastSavedAt() const { return lastSavedAt_; }
    QDateTime lastSavedAtValue() const { return lastSavedAt_.value_or(QDateTime()); }
    QString savedStatusText() const;
    bool canOpenSessionDocument() const;

    // The unfinished session the welcome screen offers; none clears the offer.
    void offerResumable(std::optional<SortSession> session);
    // Asks the store for the latest unfinished session; a failure only means nothing is offered.
    void discoverResumable();
    void setLastSavedAt(QDateTime when);

    Q_INVOKABLE void resumeSavedSession();
    Q_INVOKABLE void ignoreSavedSession();
    // Writes the current session as a document (extension .kestrava) to `path`; false and an
    // alert when there is no session or the write fails.
    Q_INVOKABLE bool saveSessionDocument(const QString& path);
    // Suggested file name for the save dialog: the sanitised run folder name.
    Q_INVOKABLE QString suggestedSessionDocumentName() const;
    // Reads a session document and applies it, with the messages of the open command.
    Q_INVOKABLE bool openSessionDocument(const QString& path);
    // Scans `folderPath` and parses `csvPath` in the background, then applies the recovery.
    Q_INVOKABLE void importRecoveryCsv(const QString& csvPath, const QString& folderPath);

signals:
    void resumableSessionChanged();
    void showResumeChoiceChanged();
    void lastSavedAtChanged();
    void canOpenSessionDocumentChanged();

private:
    WorkflowCore& core_;
    KestravaViewModel& flow_;
    std::optional<SortSession> resumable_;
    std::optional<QDateTime> lastSavedAt_;
};

} // namespace kestrava
