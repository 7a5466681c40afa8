#include "UiTexts.h"

#include "workflow/WindowWording.h"
#include "model/EnumNames.h"
#include "model/Text.h"

#include <QDateTime>
#include <QFileInfo>

namespace kestrava {

using namespace Qt::StringLiterals;


QString UiTexts::decisionLabel(const QString& decision) const
{
    const auto value = enumFromRaw<PhotoDecision>(decision);
    return value ? kestrava::decisionLabel(*value) : QString();
}

QString UiTexts::decisionAccessibleLabel(const QString& decision, bool selected) const
{
    const auto value = enumFromRaw<PhotoDecision>(decision);
    return value ? WindowWording::decisionAccessibleLabel(*value, selected) : QString();
}

QString UiTexts::reviewChoiceTitle(const QString& choice) const
{
    const auto value = enumFromRaw<FormatReviewChoice>(choice);
    return value ? WindowWording::reviewChoiceTitle(*value) : QString();
}

QString UiTexts::reviewChoiceDescription(const QString& choice) const
{
    const auto value = enumFromRaw<FormatReviewChoice>(choice);
    return value ? WindowWording::reviewChoiceDescription(*value) : QString();
}

QString UiTexts::operationModeTitle(const QString& mode) const
{
    const auto value = enumFromRaw<SortOperationMode>(mode);
    return value ? kestrava::operationModeTitle(*value) : QString();
}

QString UiTexts::operationModeDescription(const QString& mode) const
{
    const auto value = enumFromRaw<SortOperationMode>(mode);
    return value ? kestrava::operationModeDescription(*value) : QString();
}

QString UiTexts::verificationTitle(const QString& mode) const
{
    return kestrava::verificationModeLabel(enumFromRaw<VerificationMode>(mode).value_or(VerificationMode::fileSize));
}

QString UiTexts::fileCountText(int count) const
{
    return WindowWording::fileCountText(count);
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
    return value && WindowWording::reviewChoiceAvailable(*value, jpegCount, rawCount);
}

QString UiTexts::positionText(int index, int count) const
{
    return WindowWording::positionText(index, count);
}

} // namespace kestrava
