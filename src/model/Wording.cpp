#include "Wording.h"
#include "PhotoModel.h"

#include <cmath>

namespace kestrava {

using namespace Qt::StringLiterals;

QString decisionLabel(PhotoDecision decision)
{
    switch (decision) {
    case PhotoDecision::keep: return u"Behalten"_s;
    case PhotoDecision::maybe: return u"Vielleicht"_s;
    case PhotoDecision::del: return u"Aussortiert"_s;
    }
    return {};
}

namespace Wording {

bool isJpegRawPair(const QList<PhotoFormatGroup>& memberFormats)
{
    return memberFormats.size() == 2 && memberFormats.contains(PhotoFormatGroup::jpeg)
        && memberFormats.contains(PhotoFormatGroup::raw);
}

QString groupFormatLabel(const QList<PhotoFormatGroup>& memberFormats)
{
    if (isJpegRawPair(memberFormats))
        return u"JPEG + RAW"_s;
    if (memberFormats.contains(PhotoFormatGroup::jpeg))
        return u"JPEG"_s;
    if (memberFormats.contains(PhotoFormatGroup::raw))
        return u"RAW"_s;
    return u"Andere"_s;
}

QString decisionScopeTitle(const QList<PhotoFormatGroup>& memberFormats)
{
    return isJpegRawPair(memberFormats) ? u"JPEG + RAW"_s : u"1 Datei"_s;
}

QString timeLeftText(qint64 remainingBytes, double bytesPerSecond)
{
    if (!(bytesPerSecond > 0) || remainingBytes <= 0)
        return {};
    const double seconds = double(remainingBytes) / bytesPerSecond;
    if (seconds < 5)
        return u"noch weniger als 5 s"_s;
    if (seconds < 60)
        return u"noch etwa "_s + QString::number(int(std::ceil(seconds / 5.0)) * 5) + u" s"_s;
    if (seconds < 3600)
        return u"noch etwa "_s + QString::number(int(std::ceil(seconds / 60.0))) + u" min"_s;
    const int minutes = int(std::ceil(seconds / 60.0));
    return u"noch etwa "_s + QString::number(minutes / 60) + u" h "_s + QString::number(minutes % 60) + u" min"_s;
}

} // namespace Wording
} // namespace kestrava
