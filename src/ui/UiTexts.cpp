#include "UiTexts.h"

#include "UiText.h"
#include "model/EnumNames.h"
#include "model/Text.h"
#include "workflow/KestravaViewModel.h"

#include <QDateTime>
#include <QFileInfo>
#include <QVariantMap>

namespace kestrava {

using namespace Qt::StringLiterals;

namespace {

// Execution and trash values reach QML as maps of their fields; an absent value is an empty map.
QVariantMap fields(const QVariant& value)
{
    return value.toMap();
}

} // namespace

QString UiTexts::decisionLabel(const QString& decision) const
{
    const auto value = enumFromRaw<PhotoDecision>(decision);
    return value ? UiText::decisionLabel(*value) : QString();
}

QString UiTexts::decisionAccessibleLabel(const QString& decision, bool selected) const
{
    const auto value = enumFromRaw<PhotoDecision>(decision);
    return value ? UiText::decisionAccessibleLabel(*value, selected) : QString();
}

QString UiTexts::reviewChoiceTitle(const QString& choice) const
{
    const auto value = enumFromRaw<FormatReviewChoice>(choice);
    return value ? UiText::reviewChoiceTitle(*value) : QString();
}

QString UiTexts::reviewChoiceDescription(const QString& choice) const
{
    const auto value = enumFromRaw<FormatReviewChoice>(choice);
    return value ? UiText::reviewChoiceDescription(*value) : QString();
}

QString UiTexts::operationModeTitle(const QString& mode) const
{
    const auto value = enumFromRaw<SortOperationMode>(mode);
    return value ? UiText::operationModeTitle(*value) : QString();
}

QString UiTexts::operationModeDescription(const QString& mode) const
{
    const auto value = enumFromRaw<SortOperationMode>(mode);
    return value ? UiText::operationModeDescription(*value) : QString();
}

QString UiTexts::verificationTitle(const QString& mode) const
{
    return UiText::verificationTitle(enumFromRaw<VerificationMode>(mode).value_or(VerificationMode::fileSize));
}

QString UiTexts::storageCheckText(const QString& destinationBase, bool checking, const QVariant& estimate) const
{
    return UiText::storageCheckText(!destinationBase.isEmpty(), checking, fields(estimate).value(u"message"_s).toString());
}

QString UiTexts::inputGuardText(bool committing, bool previewReady, bool hasGroup) const
{
    return UiText::inputGuardText(committing, previewReady, hasGroup);
}

QString UiTexts::effectText(const QString& mode) const
{
    return UiText::effectText(enumFromRaw<SortOperationMode>(mode).value_or(SortOperationMode::safeCopy));
}

QString UiTexts::stagingLead(int rejectedFiles) const
{
    return UiText::stagingLead(rejectedFiles);
}

QString UiTexts::volumeLine(const QVariant& trashPreparation) const
{
    return UiText::volumeLine(fields(trashPreparation).value(u"sameVolumeAsSource"_s).toBool());
}

int UiTexts::manualReviewCount(const QVariant& trashPreparation) const
{
    // Mirrors TrashPreparation::needsReviewCount for the JSON form the session carries.
    int count = 0;
    for (const QVariant& entry : fields(trashPreparation).value(u"entries"_s).toList()) {
        const QVariantMap map = entry.toMap();
        const QString state = map.value(u"state"_s).toString();
        if (state == u"needsReview"_s || (state == u"trashIntent"_s && !map.contains(u"receipt"_s)))
            ++count;
    }
    return count;
}

QString UiTexts::manualReviewText(int count) const
{
    return UiText::manualReviewText(count);
}

QString UiTexts::trashSafetyText() const
{
    return UiText::trashSafetyText();
}

QString UiTexts::trashGuaranteeText() const
{
    return UiText::trashGuaranteeText();
}

QString UiTexts::transferRateText(const QVariant& progress) const
{
    return UiText::transferRateText(fields(progress).value(u"bytesPerSecond"_s).toDouble());
}

QString UiTexts::timeLeftText(const QVariant& progress) const
{
    const QVariantMap map = fields(progress);
    const qint64 remaining = map.value(u"totalBytes"_s).toLongLong() - map.value(u"completedBytes"_s).toLongLong();
    return UiText::timeLeftText(remaining, map.value(u"bytesPerSecond"_s).toDouble());
}

double UiTexts::progressFraction(const QVariant& progress) const
{
    const QVariantMap map = fields(progress);
    const double totalBytes = map.value(u"totalBytes"_s).toDouble();
    if (totalBytes > 0)
        return qBound(0.0, map.value(u"completedBytes"_s).toDouble() / totalBytes, 1.0);
    const double totalFiles = map.value(u"totalFiles"_s).toDouble();
    return totalFiles > 0 ? qBound(0.0, map.value(u"completedFiles"_s).toDouble() / totalFiles, 1.0) : 0.0;
}

QString UiTexts::completedHeadline(const QVariant& result) const
{
    const QVariantMap map = fields(result);
    return UiText::completedHeadline(int(map.value(u"errors"_s).toList().size()), map.value(u"pendingCount"_s).toInt());
}

QString UiTexts::pendingText(int pendingCount) const
{
    return UiText::pendingText(pendingCount);
}

QString UiTexts::fileCountText(int count) const
{
    return UiText::fileCountText(count);
}

QString UiTexts::byteCount(double bytes) const
{
    return text::formatByteCount(qint64(bytes));
}

QString UiTexts::folderName(const QString& path) const
{
    return QFileInfo(path).fileName();
}

QString UiTexts::captureDateText(const QDateTime& date) const
{
    return date.isValid() ? date.toLocalTime().toString(u"dd.MM.yyyy, HH:mm:ss"_s) : QString();
}

bool UiTexts::reviewChoiceAvailable(const QString& choice, int jpegCount, int rawCount) const
{
    const auto value = enumFromRaw<FormatReviewChoice>(choice);
    return value && UiText::reviewChoiceAvailable(*value, jpegCount, rawCount);
}

QString UiTexts::scopeText(int groups, int files) const
{
    return UiText::auditSummary(groups, files);
}

int UiTexts::rejectedFileCount(QObject* viewModel) const
{
    const auto* model = qobject_cast<const KestravaViewModel*>(viewModel);
    if (!model)
        return 0;
    int count = 0;
    for (const PhotoItem& item : model->photos())
        count += item.decision == PhotoDecision::del ? 1 : 0;
    return count;
}

QString UiTexts::positionText(int index, int count) const
{
    return count > 0 ? QString::number(qBound(0, index, count - 1) + 1) + u" / "_s + QString::number(count) : QString();
}

} // namespace kestrava
