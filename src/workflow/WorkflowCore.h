#pragma once

// What every stage of the window shares: the services, the state of the current run, the
// route and the alerts. Each stage gets the one core in its constructor and owns its own
// properties and signals; the core only announces the changes every stage must hear (a new
// route, a new alert, a run started from scratch).
//
// Contract:
// - GUI thread only, like the stages.
// - `resetRun` replaces the run state as a whole and advances the generation; a continuation
//   that captured an older generation belongs to a run that is gone and must not touch anything.
// - One alert queue for the whole window, whoever raises it (a stage or the shell around it):
//   messages are shown one at a time in the order raised, and dismissing one shows the next. A
//   later note never hides an earlier refusal (a document that loads and then names a file it
//   will not touch says both).

#include "RunState.h"
#include "WorkflowServices.h"
#include "model/PhotoModel.h"

#include <QObject>
#include <QString>
#include <QStringList>
#include <optional>

namespace kestrava {

class WorkflowCore : public QObject {
    Q_OBJECT
public:
    explicit WorkflowCore(WorkflowServices services, QObject* parent = nullptr);

    WorkflowServices services;
    RunState run;

    quint64 generation() const { return generation_; }
    // Starts a new run: cancels nothing by itself (the stages own their tasks).
    void resetRun();

    AppRoute route() const { return route_; }
    void setRoute(AppRoute route);

    const std::optional<QString>& alert() const { return alert_; }
    void raiseAlert(const QString& message);
    void dismissAlert();

signals:
    void routeChanged();
    void alertChanged();
    // The run state was replaced: every value derived from it may have changed.
    void runReset();

private:
    AppRoute route_ = AppRoute::welcome;
    std::optional<QString> alert_;
    QStringList queued_;
    quint64 generation_ = 0;
};

} // namespace kestrava
