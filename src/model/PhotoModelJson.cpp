#include "PhotoModelJson.h"

namespace kestrava {

using namespace Qt::StringLiterals;

int captureMillisecondsOf(const QDateTime& date)
{
    if (!date.isValid())
        return 0;
    return int((date.toMSecsSinceEpoch() % 1000 + 1000) % 1000);
}

QDateTime withCaptureMilliseconds(const QDateTime& wholeSecond, qint64 milliseconds)
{
    if (milliseconds < 0 || milliseconds > 999)
        throw DecodingError(u"captureMilliseconds: liegt nicht zwischen 0 und 999"_s);
    return wholeSecond.addMSecs(milliseconds);
}

CaptureDateOrigin impliedCaptureDateOrigin(const PhotoItem& photo)
{
    const bool comparable = photo.captureDate.isValid() && photo.modificationDate.isValid()
        && photo.modificationDate != distantPast() && photo.captureDate != distantPast();
    return comparable && photo.captureDate != photo.modificationDate ? CaptureDateOrigin::exif : CaptureDateOrigin::unknown;
}

QJsonObject toJson(const PhotoItem& item)
{
    QJsonObject o;
    o.insert("sourceURL"_L1, item.sourceURL.toUrlString());
    o.insert("captureDate"_L1, json::encodeDate(item.captureDate));
    if (const int milliseconds = captureMillisecondsOf(item.captureDate))
        o.insert("captureMilliseconds"_L1, milliseconds);
    if (item.captureDateOrigin != impliedCaptureDateOrigin(item))
        o.insert("captureDateOrigin"_L1, rawValue(item.captureDateOrigin));
    o.insert("formatGroup"_L1, rawValue(item.formatGroup));
    if (item.decision)
        o.insert("decision"_L1, rawValue(*item.decision));
    o.insert("category"_L1, item.category);
    o.insert("fileSize"_L1, item.fileSize);
    o.insert("modificationDate"_L1, json::encodeDate(item.modificationDate));
    o.insert("relativePath"_L1, item.relativePath);
    return o;
}

PhotoItem photoItemFromJson(const QJsonObject& o)
{
    PhotoItem item;
    item.sourceURL = json::requireUrl(o, "sourceURL"_L1);
    item.captureDate = json::requireDate(o, "captureDate"_L1);
    if (const auto milliseconds = json::optionalInt(o, "captureMilliseconds"_L1))
        item.captureDate = withCaptureMilliseconds(item.captureDate, *milliseconds);
    item.formatGroup = json::requireEnum<PhotoFormatGroup>(o, "formatGroup"_L1);
    item.decision = json::optionalEnum<PhotoDecision>(o, "decision"_L1);
    item.category = json::requireString(o, "category"_L1);
    item.fileSize = json::requireInt(o, "fileSize"_L1);
    item.modificationDate = json::requireDate(o, "modificationDate"_L1);
    item.relativePath = json::requireString(o, "relativePath"_L1);
    if (const auto origin = json::optionalEnum<CaptureDateOrigin>(o, "captureDateOrigin"_L1))
        item.captureDateOrigin = *origin;
    else
        item.captureDateOrigin = impliedCaptureDateOrigin(item);
    return item;
}

QJsonArray toJson(const QList<PhotoItem>& items)
{
    QJsonArray array;
    for (const PhotoItem& item : items)
        array.append(toJson(item));
    return array;
}

QList<PhotoItem> photoItemsFromJson(const QJsonArray& array)
{
    QList<PhotoItem> items;
    items.reserve(array.size());
    for (const QJsonValue& value : array) {
        if (!value.isObject())
            throw DecodingError(u"photos: Eintrag ist kein Objekt"_s);
        items.append(photoItemFromJson(value.toObject()));
    }
    return items;
}

QJsonObject toJson(const ReviewGroup& group)
{
    QJsonArray members;
    for (const FileUrl& url : group.memberURLs)
        members.append(url.toUrlString());
    QJsonObject o;
    o.insert("id"_L1, group.id);
    o.insert("memberURLs"_L1, members);
    o.insert("previewURL"_L1, group.previewURL.toUrlString());
    return o;
}

ReviewGroup reviewGroupFromJson(const QJsonObject& o)
{
    ReviewGroup group;
    group.id = json::requireString(o, "id"_L1);
    for (const QJsonValue& value : json::requireArray(o, "memberURLs"_L1)) {
        auto url = value.isString() ? FileUrl::fromUrlString(value.toString()) : std::nullopt;
        if (!url)
            throw DecodingError(u"memberURLs: keine gültige Datei-URL"_s);
        group.memberURLs.append(*url);
    }
    group.previewURL = json::requireUrl(o, "previewURL"_L1);
    return group;
}

QJsonObject toJson(const FileFingerprint& fingerprint)
{
    QJsonObject o;
    o.insert("relativePath"_L1, fingerprint.relativePath);
    o.insert("fileSize"_L1, fingerprint.fileSize);
    o.insert("modificationDate"_L1, json::encodeDate(fingerprint.modificationDate));
    return o;
}

FileFingerprint fileFingerprintFromJson(const QJsonObject& o)
{
    return FileFingerprint{json::requireString(o, "relativePath"_L1), json::requireInt(o, "fileSize"_L1),
                           json::requireDate(o, "modificationDate"_L1)};
}

} // namespace kestrava
