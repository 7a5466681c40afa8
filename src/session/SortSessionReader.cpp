#include "SortSessionReader.h"

#include "JsonScanner.h"
#include "SessionStoreError.h"
#include "model/PhotoModelJson.h"

#include <QByteArrayView>

namespace kestrava {

using namespace Qt::StringLiterals;

namespace {

using detail::JsonScanner;

constexpr unsigned captureDate = 1, category = 2, decision = 4, fileSize = 8, formatGroup = 16, modificationDate = 32,
                   relativePath = 64, sourceURL = 128, captureMilliseconds = 256, captureDateOrigin = 512;
constexpr unsigned requiredPhotoKeys = captureDate | category | fileSize | formatGroup | modificationDate | relativePath | sourceURL;

std::optional<PhotoItem> scanPhoto(JsonScanner& s)
{
    PhotoItem photo;
    qint64 milliseconds = 0;
    unsigned seen = 0;
    QString text;
    const bool scanned = s.knownMembers(seen, [&](const QString& key) -> unsigned {
        if (key == "fileSize"_L1)
            return s.integer(photo.fileSize) ? fileSize : 0;
        if (key == "captureMilliseconds"_L1) {
            // Out of range: the general decoder names the damage.
            return s.integer(milliseconds) && milliseconds >= 0 && milliseconds <= 999 ? captureMilliseconds : 0;
        }
        if (!s.string(text))
            return 0;
        if (key == "captureDate"_L1 || key == "modificationDate"_L1) {
            const auto date = json::decodeDate(text);
            if (!date)
                return 0;
            const bool capture = key == "captureDate"_L1;
            (capture ? photo.captureDate : photo.modificationDate) = *date;
            return capture ? captureDate : modificationDate;
        }
        if (key == "captureDateOrigin"_L1) {
            const auto origin = enumFromRaw<CaptureDateOrigin>(text);
            if (!origin)
                return 0;
            photo.captureDateOrigin = *origin;
            return captureDateOrigin;
        }
        if (key == "category"_L1) {
            photo.category = text;
            return category;
        }
        if (key == "decision"_L1) {
            photo.decision = enumFromRaw<PhotoDecision>(text);
            return photo.decision ? decision : 0;
        }
        if (key == "formatGroup"_L1) {
            const auto group = enumFromRaw<PhotoFormatGroup>(text);
            if (!group)
                return 0;
            photo.formatGroup = *group;
            return formatGroup;
        }
        if (key == "relativePath"_L1) {
            photo.relativePath = text;
            return relativePath;
        }
        if (key == "sourceURL"_L1) {
            const auto url = FileUrl::fromUrlString(text);
            if (!url || !url->path().isValidUtf16())
                return 0;
            photo.sourceURL = *url;
            return sourceURL;
        }
        return 0;
    });
    if (!scanned || (seen & requiredPhotoKeys) != requiredPhotoKeys)
        return std::nullopt;
    photo.captureDate = photo.captureDate.addMSecs(milliseconds);
    if (!(seen & captureDateOrigin))
        photo.captureDateOrigin = impliedCaptureDateOrigin(photo);
    return photo;
}

std::optional<QList<PhotoItem>> scanPhotos(JsonScanner& s)
{
    QList<PhotoItem> photos;
    const bool scanned = s.elements([&] {
        auto photo = scanPhoto(s);
        if (photo)
            photos.append(std::move(*photo));
        return photo.has_value();
    });
    if (!scanned)
        return std::nullopt;
    return photos;
}

} // namespace

namespace detail {

SortSession decodeSortSessionGeneral(const QByteArray& bytes)
{
    try {
        return sortSessionFromJson(json::parseObject(bytes));
    } catch (const DecodingError& error) {
        throw SessionStoreError::corruptSession(error.detail());
    }
}

std::optional<SortSession> decodeSortSessionFast(const QByteArray& bytes)
{
    JsonScanner s(bytes);
    std::optional<QList<PhotoItem>> lists[2];
    // Byte ranges of the two arrays, replaced by "[]" before Qt parses the rest.
    qsizetype spans[2][2] = {{-1, -1}, {-1, -1}};
    const bool scanned = s.members([&](const QString& key) {
        const int list = key == "photos"_L1 ? 0 : key == "passThroughPhotos"_L1 ? 1 : -1;
        if (list < 0 || !s.peek('['))
            return s.skipValue();
        if (lists[list])
            return false;
        spans[list][0] = s.offset();
        lists[list] = scanPhotos(s);
        spans[list][1] = s.offset();
        return lists[list].has_value();
    });
    if (!scanned || (!lists[0] && !lists[1]))
        return std::nullopt;

    QByteArray rest;
    rest.reserve(bytes.size());
    qsizetype copied = 0;
    const int first = spans[1][0] >= 0 && (spans[0][0] < 0 || spans[1][0] < spans[0][0]) ? 1 : 0;
    for (int list : {first, 1 - first}) {
        if (spans[list][0] < 0)
            continue;
        rest.append(bytes.constData() + copied, spans[list][0] - copied).append("[]");
        copied = spans[list][1];
    }
    rest.append(bytes.constData() + copied, bytes.size() - copied);

    SortSession session = decodeSortSessionGeneral(rest);
    if (lists[0])
        session.photos = std::move(*lists[0]);
    if (lists[1])
        session.passThroughPhotos = std::move(*lists[1]);
    return session;
}

} // namespace detail

SortSession decodeSortSession(const QByteArray& bytes)
{
    if (auto session = detail::decodeSortSessionFast(bytes))
        return std::move(*session);
    return detail::decodeSortSessionGeneral(bytes);
}

} // namespace kestrava
