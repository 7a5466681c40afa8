#include "AuditStage.h"
#include "model/Json.h"

namespace kestrava {

AuditStage::AuditStage(WorkflowCore& core, QObject* parent) : QObject(parent), core_(core)
{
    connect(&core_, &WorkflowCore::runReset, this, &AuditStage::requestIDChanged);
    connect(&core_, &WorkflowCore::runReset, this, &AuditStage::presentedChanged);
}

QString AuditStage::requestIDText() const
{
    return requestID() ? json::encodeUuid(*requestID()) : QString();
}

QString AuditStage::reviewPausedHint() const
{
    return isPresented() ? QStringLiteral("Die Prüfliste ist geöffnet – schließe sie mit Esc, um weiter zu bewerten.")
                         : QString();
}

void AuditStage::request()
{
    core_.run.reviewAuditRequestID = QUuid::createUuid();
    emit requestIDChanged();
}

void AuditStage::setPresented(bool presented)
{
    if (core_.run.isReviewAuditPresented == presented)
        return;
    core_.run.isReviewAuditPresented = presented;
    emit presentedChanged();
}

void AuditStage::consumeReviewAuditRequest(const QString& id)
{
    if (requestIDText() == id)
        withdrawRequest();
}

void AuditStage::withdrawRequest()
{
    if (!core_.run.reviewAuditRequestID)
        return;
    core_.run.reviewAuditRequestID.reset();
    emit requestIDChanged();
}

void AuditStage::withdraw()
{
    withdrawRequest();
    setPresented(false);
}

} // namespace kestrava
