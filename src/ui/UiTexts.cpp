#include "UiTexts.h"

#include "UiText.h"
#include "model/EnumNames.h"
#include "model/Text.h"
#include "trash/TrashJson.h"

#include <QDateTime>
#include <QException>
#include <QFileInfo>
#include <QJsonObject>
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
    return value ? kestrava::decisionLabel(*value) : QString();
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

QStringList UiTexts::sourceVolumeTexts(const QVariant& trashPreparation) const
{
    QStringList lines;
    for (const QVariant& volume : fields(trashPreparation).value(u"sourceVolumes"_s).toList()) {
        try {
            const SourceVolumeSummary summary = sourceVolumeSummaryFromJson(QJsonObject::fromVariantMap(volume.toMap()));
            lines.append(u"Originale auf "_s + (summary.name.isEmpty() ? summary.description()
                                                                         : summary.name + u" · "_s + summary.description()));
        } catch (const QException&) {
            // An unreadable entry is left out; the volume line above still states the layout.
        }
    }
    return lines;
}

int UiTexts::manualReviewCount(const QVariant& trashPreparation) const
{
    const QVariantMap map = fields(trashPreparation);
    if (map.isEmpty())
        return 0;
    try {
        // The view model publishes the session document's form; decoding it again keeps the
        // rule of what needs a person in one place.
        return trashPreparationFromJson(QJsonObject::fromVariantMap(map)).needsReviewCount();
    } catch (const QException&) {
        return 0;
    }
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
    return Wording::timeLeftText(remaining, map.value(u"bytesPerSecond"_s).toDouble());
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

QString UiTexts::fileProgressText(const QVariant& progress) const
{
    const QVariantMap map = fields(progress);
    if (map.isEmpty())
        return u"–"_s;
    return UiText::fileProgressText(map.value(u"completedFiles"_s).toInt(), map.value(u"totalFiles"_s).toInt());
}

QString UiTexts::byteProgressText(const QVariant& progress) const
{
    const QVariantMap map = fields(progress);
    if (map.isEmpty())
        return u"–"_s;
    return UiText::byteProgressText(map.value(u"completedBytes"_s).toLongLong(), map.value(u"totalBytes"_s).toLongLong());
}

QString UiTexts::phaseProgressText(const QVariant& progress) const
{
    const QVariantMap map = fields(progress);
    if (map.isEmpty())
        return {};
    return map.value(u"phase"_s).toString() + u" · "_s + fileProgressText(progress);
}

bool UiTexts::hasResult(const QVariant& result) const
{
    return fields(result).contains(u"organizedCount"_s);
}

int UiTexts::pendingCount(const QVariant& result) const
{
    return fields(result).value(u"pendingCount"_s).toInt();
}

QString UiTexts::completedHeadline(const QVariant& result) const
{
    const QVariantMap map = fields(result);
    return UiText::completedHeadline(hasResult(result), int(map.value(u"errors"_s).toList().size()),
                                     map.value(u"pendingCount"_s).toInt());
}

QVariantList UiTexts::resultCards(const QVariant& result, const QString& mode) const
{
    const QVariantMap map = fields(result);
    UiText::ResultCounts counts;
    counts.organized = map.value(u"organizedCount"_s).toInt();
    counts.skipped = map.value(u"skippedCount"_s).toInt();
    counts.pending = map.value(u"pendingCount"_s).toInt();
    counts.trashed = map.value(u"trashedCount"_s).toInt();
    counts.retainedDiscard = map.value(u"retainedDiscardCount"_s).toInt();
    counts.errors = int(map.value(u"errors"_s).toList().size());
    QVariantList cards;
    for (const UiText::ResultCard& card : UiText::resultCards(counts, mode == u"organizeAndTrash"_s)) {
        QString tone;
        switch (card.tone) {
        case UiText::CardTone::neutral: tone = u"neutral"_s; break;
        case UiText::CardTone::good: tone = u"good"_s; break;
        case UiText::CardTone::attention: tone = u"attention"_s; break;
        case UiText::CardTone::failure: tone = u"failure"_s; break;
        }
        cards.append(QVariantMap{{u"label"_s, card.label}, {u"value"_s, card.value}, {u"tone"_s, tone}});
    }
    return cards;
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

QString UiTexts::positionText(int index, int count) const
{
    return count > 0 ? QString::number(qBound(0, index, count - 1) + 1) + u" / "_s + QString::number(count) : QString();
}

} // namespace kestrava
