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
    alert_ = message;
    emit alertChanged();
}

void WorkflowCore::dismissAlert()
{
    if (!alert_)
        return;
    alert_.reset();
    emit alertChanged();
}

} // namespace kestrava
