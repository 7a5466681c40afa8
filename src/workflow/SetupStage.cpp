#include "SetupStage.h"

#include <algorithm>

namespace kestrava {

QList<SetupChoice> SetupStage::verificationChoices()
{
    QList<SetupChoice> choices;
    for (const VerificationMode mode : {VerificationMode::fileSize, VerificationMode::sha256})
        choices.append({rawValue(mode), verificationModeLabel(mode)});
    return choices;
}

SetupStage::SetupStage(WorkflowCore& core, QObject* parent) : QObject(parent), core_(core) {}

void SetupStage::updateEventName(const QString& name)
{
    if (eventName_ == name)
        return;
    eventName_ = name;
    emit eventNameChanged();
}

void SetupStage::updateGroupByDate(bool enabled)
{
    if (groupByDate_ == enabled)
        return;
    groupByDate_ = enabled;
    emit groupByDateChanged();
}

void SetupStage::updateVerificationMode(const QString& mode)
{
    if (const auto value = enumFromRaw<VerificationMode>(mode))
        updateVerificationMode(*value);
}

void SetupStage::updateVerificationMode(VerificationMode mode)
{
    if (verificationMode_ == mode)
        return;
    verificationMode_ = mode;
    emit verificationModeChanged();
}

void SetupStage::setAdvancedOptionsVisible(bool visible)
{
    if (advancedOptionsVisible_ == visible)
        return;
    advancedOptionsVisible_ = visible;
    emit advancedOptionsVisibleChanged();
}

void SetupStage::updateRatingSidecars(bool write, int keepStars)
{
    const int stars = std::clamp(keepStars, minimumKeepRatingStars, maximumKeepRatingStars);
    if (writeRatingSidecars_ == write && keepRatingStars_ == stars)
        return;
    writeRatingSidecars_ = write;
    keepRatingStars_ = stars;
    emit ratingSidecarsChanged();
}

} // namespace kestrava
