#pragma once

// "Auswahl prüfen", as the view model sees it: whether the window was asked for and whether it
// is showing. While it shows, the review's arrow keys rest (the window has its own keys).
//
// The showing flag has one writer: the window reports its own visibility through
// `setPresented`. A request gets a fresh id each time so the window is raised again even when
// it already exists.

#include "WorkflowCore.h"

#include <QObject>

namespace kestrava {

class AuditStage : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString requestID READ requestIDText NOTIFY requestIDChanged)
    Q_PROPERTY(bool presented READ isPresented NOTIFY presentedChanged)
    // What the main window says while its review keys rest, so a key that does nothing there
    // is explained; empty while the audit window is closed.
    Q_PROPERTY(QString reviewPausedHint READ reviewPausedHint NOTIFY presentedChanged)

public:
    explicit AuditStage(WorkflowCore& core, QObject* parent = nullptr);

    const std::optional<QUuid>& requestID() const { return core_.run.reviewAuditRequestID; }
    QString requestIDText() const;
    bool isPresented() const { return core_.run.isReviewAuditPresented; }
    QString reviewPausedHint() const;

    // Asks the window to open (or come to the front).
    Q_INVOKABLE void request();
    Q_INVOKABLE void setPresented(bool presented);
    // The window has shown the request `id`: it lapses, so it is not acted on twice (a newer
    // request made in the meantime stays).
    Q_INVOKABLE void consumeReviewAuditRequest(const QString& id);
    // The request lapses (a decision was taken back); a showing window stays.
    void withdrawRequest();
    // The review is over: the request lapses and the keys are the review's again.
    void withdraw();

signals:
    void requestIDChanged();
    void presentedChanged();

private:
    WorkflowCore& core_;
};

} // namespace kestrava
