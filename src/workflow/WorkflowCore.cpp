#include "WorkflowCore.h"

namespace kestrava {

WorkflowCore::WorkflowCore(WorkflowServices services, QObject* parent)
    : QObject(parent), services(std::move(services))
{
}

void WorkflowCore::resetRun()
{
    ++generation_;
    run = {};
    emit runReset();
}

void WorkflowCore::setRoute(AppRoute route)
{
    if (route_ == route)
        return;
    route_ = route;
    emit routeChanged();
}

void WorkflowCore::raiseAlert(const QString& message)
{
    // The same words twice in a row (a retried action failing again) are said once.
    if (!queued_.isEmpty() && queued_.last() == message)
        return;
    queued_.append(message);
    if (queued_.size() == 1) {
        alert_ = message;
        emit alertChanged();
    }
}

void WorkflowCore::dismissAlert()
{
    if (!alert_)
        return;
    queued_.removeFirst();
    if (queued_.isEmpty())
        alert_.reset();
    else
        alert_ = queued_.first();
    emit alertChanged();
}

} // namespace kestrava
