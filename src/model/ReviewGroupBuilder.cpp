#include "PhotoModel.h"

#include <QHash>
#include <vector>

namespace kestrava {

namespace {

// Folder part in lower case, "|", base name (last extension removed) in lower case:
// Day1/IMG_0042.JPG and day1/img_0042.cr3 share a key; equal names in other folders never do.
QString pairingKey(const PhotoItem& item)
{
    const QString& path = item.relativePath;
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    const QStringView folder = slash < 0 ? QStringView() : QStringView(path).left(slash);
    QStringView name = slash < 0 ? QStringView(path) : QStringView(path).mid(slash + 1);
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    if (dot > 0)
        name = name.left(dot);
    QString key;
    key.reserve(folder.size() + 1 + name.size());
    key.append(folder).append(QLatin1Char('|')).append(name);
    return key.toLower();
}

ReviewGroup single(const PhotoItem& item)
{
    return ReviewGroup{item.sourceURL.path(), {item.sourceURL}, item.sourceURL};
}

} // namespace

QList<ReviewGroup> ReviewGroup::build(const QList<PhotoItem>& photos, std::optional<FormatReviewChoice> choice)
{
    QList<ReviewGroup> groups;
    groups.reserve(photos.size());
    if (choice != FormatReviewChoice::both) {
        for (const PhotoItem& item : photos)
            groups.append(single(item));
        return groups;
    }

    // Per key: the only JPEG and the only RAW index, or -2 once a second one of that format shows up.
    struct Slot {
        qsizetype jpeg = -1;
        qsizetype raw = -1;
    };
    constexpr qsizetype ambiguous = -2;
    QHash<QString, Slot> byKey;
    byKey.reserve(photos.size());
    std::vector<QString> keys(std::size_t(photos.size()));
    for (qsizetype i = 0; i < photos.size(); ++i) {
        keys[std::size_t(i)] = pairingKey(photos[i]);
        Slot& slot = byKey[keys[std::size_t(i)]];
        qsizetype* target = photos[i].formatGroup == PhotoFormatGroup::jpeg ? &slot.jpeg
            : photos[i].formatGroup == PhotoFormatGroup::raw                ? &slot.raw
                                                                            : nullptr;
        if (target)
            *target = *target == -1 ? i : ambiguous;
    }

    std::vector<bool> consumed(std::size_t(photos.size()), false);
    for (qsizetype i = 0; i < photos.size(); ++i) {
        if (consumed[std::size_t(i)])
            continue;
        const Slot slot = byKey.value(keys[std::size_t(i)]);
        if (slot.jpeg >= 0 && slot.raw >= 0 && (slot.jpeg == i || slot.raw == i)) {
            const PhotoItem& jpeg = photos[slot.jpeg];
            const PhotoItem& raw = photos[slot.raw];
            const QString& a = jpeg.sourceURL.path();
            const QString& b = raw.sourceURL.path();
            const QString id = a < b ? a + QLatin1Char('|') + b : b + QLatin1Char('|') + a;
            groups.append(ReviewGroup{id, {jpeg.sourceURL, raw.sourceURL}, jpeg.sourceURL});
            consumed[std::size_t(slot.jpeg)] = true;
            consumed[std::size_t(slot.raw)] = true;
            continue;
        }
        groups.append(single(photos[i]));
    }
    return groups;
}

} // namespace kestrava
