#include "FormatPreselection.h"

namespace kestrava {

std::optional<FormatReviewChoice> preselectedReviewChoice(qsizetype jpegCount, qsizetype rawCount)
{
    if (jpegCount > 0 && rawCount > 0)
        return FormatReviewChoice::both;
    if (jpegCount > 0)
        return FormatReviewChoice::jpeg;
    if (rawCount > 0)
        return FormatReviewChoice::raw;
    return std::nullopt;
}

bool offersFormatChoice(qsizetype jpegCount, qsizetype rawCount)
{
    return jpegCount > 0 && rawCount > 0;
}

QList<PhotoItem> photosReviewedBy(const QList<PhotoItem>& items, FormatReviewChoice choice)
{
    if (choice == FormatReviewChoice::both)
        return items;
    const PhotoFormatGroup wanted = choice == FormatReviewChoice::jpeg ? PhotoFormatGroup::jpeg : PhotoFormatGroup::raw;
    QList<PhotoItem> reviewed;
    for (const PhotoItem& item : items)
        if (item.formatGroup == wanted)
            reviewed.append(item);
    return reviewed;
}

} // namespace kestrava
