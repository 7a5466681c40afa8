#include "SetupStage.h"

#include <algorithm>

namespace kestrava {

QList<SetupChoice> SetupStage::verificationChoices()
{
    QList<SetupChoice> choices;
    for (const VerificationMode mode : {VerificationMode::fileSize, VerificationMode::sha256})
        choices.append({.value = int(mode), .name = rawValue(mode), .title = verificationModeLabel(mode),
                        .description = {}, .available = true});
    return choices;
}

QList<SetupChoice> SetupStage::operationModeChoices()
{
    QList<SetupChoice> choices;
    for (const SortOperationMode mode : allCases<SortOperationMode>())
        choices.append({.value = int(mode), .name = rawValue(mode), .title = operationModeTitle(mode),
                        .description = operationModeDescription(mode), .available = true});
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
