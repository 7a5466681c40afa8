#include "PhotoModel.h"

#include <QHash>
#include <vector>

namespace kestrava {

namespace {

// Pairing key: the folder part in lower case, "|", the base name (last extension removed) in
// lower case. Day1/IMG_0042.JPG and day1/img_0042.cr3 share a key; equal names in other
// folders never do. The key is never materialised: at 100,000 photos one allocated string per
// photo dominated the build, so photos are bucketed by a hash of the folded characters and
// compared character by character inside a bucket.
struct KeyView {
    QStringView folder;
    QStringView baseName;
};

KeyView keyView(const PhotoItem& item)
{
    const QStringView path(item.relativePath);
    const qsizetype slash = path.lastIndexOf(u'/');
    KeyView key{slash < 0 ? QStringView() : path.left(slash), slash < 0 ? path : path.mid(slash + 1)};
    const qsizetype dot = key.baseName.lastIndexOf(u'.');
    if (dot > 0)
        key.baseName = key.baseName.left(dot);
    return key;
}

inline char16_t fold(QChar c)
{
    const char16_t u = c.unicode();
    if (u < 0x80)
        return (u >= u'A' && u <= u'Z') ? char16_t(u + 32) : u;
    return c.toLower().unicode();
}

quint64 keyHash(const KeyView& key)
{
    quint64 hash = 1469598103934665603ULL; // FNV-1a
    const auto mix = [&hash](char16_t c) {
        hash ^= c;
        hash *= 1099511628211ULL;
    };
    for (QChar c : key.folder)
        mix(fold(c));
    mix(u'|');
    for (QChar c : key.baseName)
        mix(fold(c));
    return hash;
}

bool sameFolded(QStringView a, QStringView b)
{
    if (a.size() != b.size())
        return false;
    for (qsizetype i = 0; i < a.size(); ++i)
        if (fold(a[i]) != fold(b[i]))
            return false;
    return true;
}

bool sameKey(const KeyView& a, const KeyView& b)
{
    return sameFolded(a.folder, b.folder) && sameFolded(a.baseName, b.baseName);
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

    // Per key: the only JPEG and the only RAW index, or `ambiguous` once a second one of that
    // format shows up. Keys whose hashes collide live in a chain of slots.
    constexpr qsizetype ambiguous = -2;
    struct Slot {
        qsizetype representative = -1; // a photo carrying this key, for collision checks
        qsizetype jpeg = -1;
        qsizetype raw = -1;
        qsizetype nextInBucket = -1;
    };
    std::vector<Slot> keySlots;
    keySlots.reserve(std::size_t(photos.size()));
    std::vector<qsizetype> slotOfPhoto(std::size_t(photos.size()));
    std::vector<KeyView> views(std::size_t(photos.size()));
    QHash<quint64, qsizetype> firstSlotByHash;
    firstSlotByHash.reserve(photos.size());

    for (qsizetype i = 0; i < photos.size(); ++i) {
        views[std::size_t(i)] = keyView(photos[i]);
        const KeyView& view = views[std::size_t(i)];
        const quint64 hash = keyHash(view);
        auto it = firstSlotByHash.find(hash);
        if (it == firstSlotByHash.end())
            it = firstSlotByHash.insert(hash, -1);
        qsizetype slot = *it;
        qsizetype last = -1;
        while (slot >= 0 && !sameKey(views[std::size_t(keySlots[std::size_t(slot)].representative)], view)) {
            last = slot;
            slot = keySlots[std::size_t(slot)].nextInBucket;
        }
        if (slot < 0) {
            slot = qsizetype(keySlots.size());
            keySlots.push_back(Slot{i});
            if (last >= 0)
                keySlots[std::size_t(last)].nextInBucket = slot;
            else
                *it = slot;
        }
        slotOfPhoto[std::size_t(i)] = slot;
        Slot& s = keySlots[std::size_t(slot)];
        qsizetype* target = photos[i].formatGroup == PhotoFormatGroup::jpeg ? &s.jpeg
            : photos[i].formatGroup == PhotoFormatGroup::raw                ? &s.raw
                                                                            : nullptr;
        if (target)
            *target = *target == -1 ? i : ambiguous;
    }

    std::vector<bool> consumed(std::size_t(photos.size()), false);
    for (qsizetype i = 0; i < photos.size(); ++i) {
        if (consumed[std::size_t(i)])
            continue;
        const Slot& slot = keySlots[std::size_t(slotOfPhoto[std::size_t(i)])];
        if (slot.jpeg >= 0 && slot.raw >= 0 && (slot.jpeg == i || slot.raw == i)) {
            const PhotoItem& jpeg = photos[slot.jpeg];
            const PhotoItem& raw = photos[slot.raw];
            const QString& a = jpeg.sourceURL.path();
            const QString& b = raw.sourceURL.path();
            const QString id = a < b ? a + u'|' + b : b + u'|' + a;
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
