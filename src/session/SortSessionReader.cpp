#include "SortSessionReader.h"

#include "JsonScanner.h"
#include "SessionStoreError.h"
#include "model/PhotoModelJson.h"

#include <QByteArrayView>

namespace kestrava {

using namespace Qt::StringLiterals;

namespace {

using detail::JsonScanner;

enum PhotoKey : unsigned {
    captureDate = 1, category = 2, decision = 4, fileSize = 8, formatGroup = 16, modificationDate = 32,
    relativePath = 64, sourceURL = 128, captureMilliseconds = 256, captureDateOrigin = 512
};
constexpr unsigned requiredPhotoKeys = captureDate | category | fileSize | formatGroup | modificationDate | relativePath | sourceURL;

std::optional<PhotoItem> scanPhoto(JsonScanner& s)
{
    if (!s.consume('{'))
        return std::nullopt;
    PhotoItem photo;
    qint64 milliseconds = 0;
    unsigned seen = 0;
    QString key;
    QString text;
    if (!s.peek('}')) {
        do {
            if (!s.string(key) || !s.consume(':'))
                return std::nullopt;
            unsigned bit = 0;
            if (key == "fileSize"_L1) {
                bit = fileSize;
                if (!s.integer(photo.fileSize))
                    return std::nullopt;
            } else if (key == "captureMilliseconds"_L1) {
                // Out of range: the general decoder names the damage.
                bit = captureMilliseconds;
                if (!s.integer(milliseconds) || milliseconds < 0 || milliseconds > 999)
                    return std::nullopt;
            } else {
                if (!s.string(text))
                    return std::nullopt;
                if (key == "captureDate"_L1 || key == "modificationDate"_L1) {
                    bit = key == "captureDate"_L1 ? captureDate : modificationDate;
                    const auto date = json::decodeDate(text);
                    if (!date)
                        return std::nullopt;
                    (bit == captureDate ? photo.captureDate : photo.modificationDate) = *date;
                } else if (key == "captureDateOrigin"_L1) {
                    bit = captureDateOrigin;
                    const auto origin = enumFromRaw<CaptureDateOrigin>(text);
                    if (!origin)
                        return std::nullopt;
                    photo.captureDateOrigin = *origin;
                } else if (key == "category"_L1) {
                    bit = category;
                    photo.category = text;
                } else if (key == "decision"_L1) {
                    bit = decision;
                    photo.decision = enumFromRaw<PhotoDecision>(text);
                    if (!photo.decision)
                        return std::nullopt;
                } else if (key == "formatGroup"_L1) {
                    bit = formatGroup;
                    const auto group = enumFromRaw<PhotoFormatGroup>(text);
                    if (!group)
                        return std::nullopt;
                    photo.formatGroup = *group;
                } else if (key == "relativePath"_L1) {
                    bit = relativePath;
                    photo.relativePath = text;
                } else if (key == "sourceURL"_L1) {
                    bit = sourceURL;
                    const auto url = FileUrl::fromUrlString(text);
                    if (!url || !url->path().isValidUtf16())
                        return std::nullopt;
                    photo.sourceURL = *url;
                } else {
                    return std::nullopt;
                }
            }
            if (seen & bit)
                return std::nullopt;
            seen |= bit;
        } while (s.consume(','));
    }
    if (!s.consume('}') || (seen & requiredPhotoKeys) != requiredPhotoKeys)
        return std::nullopt;
    photo.captureDate = photo.captureDate.addMSecs(milliseconds);
    if (!(seen & captureDateOrigin))
        photo.captureDateOrigin = impliedCaptureDateOrigin(photo);
    return photo;
}

std::optional<QList<PhotoItem>> scanPhotos(JsonScanner& s)
{
    if (!s.consume('['))
        return std::nullopt;
    QList<PhotoItem> photos;
    if (s.consume(']'))
        return photos;
    do {
        auto photo = scanPhoto(s);
        if (!photo)
            return std::nullopt;
        photos.append(std::move(*photo));
    } while (s.consume(','));
    if (!s.consume(']'))
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
    if (!s.consume('{'))
        return std::nullopt;
    std::optional<QList<PhotoItem>> lists[2];
    // Byte ranges of the two arrays, replaced by "[]" before Qt parses the rest.
    qsizetype spans[2][2] = {{-1, -1}, {-1, -1}};
    QString key;
    if (!s.peek('}')) {
        do {
            if (!s.string(key) || !s.consume(':'))
                return std::nullopt;
            const int list = key == "photos"_L1 ? 0 : key == "passThroughPhotos"_L1 ? 1 : -1;
            if (list >= 0 && s.peek('[')) {
                if (lists[list])
                    return std::nullopt;
                spans[list][0] = s.offset();
                lists[list] = scanPhotos(s);
                if (!lists[list])
                    return std::nullopt;
                spans[list][1] = s.offset();
            } else if (!s.skipValue()) {
                return std::nullopt;
            }
        } while (s.consume(','));
    }
    if (!s.consume('}') || (!lists[0] && !lists[1]))
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
