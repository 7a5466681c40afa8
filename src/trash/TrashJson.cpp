#include "TrashJson.h"

#include "model/Json.h"

#include <QJsonArray>

namespace kestrava {

using namespace json;

namespace {

// Device and inode numbers are unsigned 64-bit; JSON integers here are signed 64-bit. The
// bit pattern is kept, so a value above 2^63 survives the round trip unchanged.
qint64 fromUnsigned(quint64 value) { return qint64(value); }
quint64 toUnsigned(qint64 value) { return quint64(value); }

QJsonValue encodeDate(const QDateTime& date, TrashDateStyle style)
{
    if (style == TrashDateStyle::millisecondsSince1970)
        return QJsonValue(date.toMSecsSinceEpoch());
    return json::encodeDate(date);
}

QDateTime decodeDate(const QJsonObject& object, QLatin1StringView key, TrashDateStyle style)
{
    if (style == TrashDateStyle::millisecondsSince1970)
        return QDateTime::fromMSecsSinceEpoch(requireInt(object, key), Qt::UTC);
    return requireDate(object, key);
}

template <class T, class Decode>
QList<T> decodeList(const QJsonArray& array, const char* key, Decode decode)
{
    QList<T> out;
    out.reserve(array.size());
    for (const QJsonValue& value : array) {
        if (!value.isObject())
            throw DecodingError(QStringLiteral("%1: Element ist kein Objekt").arg(QLatin1StringView(key)));
        out.append(decode(value.toObject()));
    }
    return out;
}

} // namespace

QJsonObject toJson(const FileIdentity& identity)
{
    QJsonObject o;
    o.insert(QLatin1String("path"), identity.path);
    putOptional(o, QLatin1String("bookmarkData"), identity.bookmarkData,
                [](const QByteArray& b) { return QString::fromLatin1(b.toBase64()); });
    putOptional(o, QLatin1String("volumeUUID"), identity.volumeUUID);
    putOptional(o, QLatin1String("documentIdentifier"), identity.documentIdentifier);
    putOptional(o, QLatin1String("resourceIdentifier"), identity.resourceIdentifier);
    putOptional(o, QLatin1String("generationIdentifier"), identity.generationIdentifier);
    o.insert(QLatin1String("device"), fromUnsigned(identity.device));
    o.insert(QLatin1String("inode"), fromUnsigned(identity.inode));
    o.insert(QLatin1String("linkCount"), fromUnsigned(identity.linkCount));
    o.insert(QLatin1String("size"), identity.size);
    o.insert(QLatin1String("modificationSeconds"), identity.modificationSeconds);
    o.insert(QLatin1String("modificationNanoseconds"), identity.modificationNanoseconds);
    o.insert(QLatin1String("statusChangeSeconds"), identity.statusChangeSeconds);
    o.insert(QLatin1String("statusChangeNanoseconds"), identity.statusChangeNanoseconds);
    o.insert(QLatin1String("sha256"), identity.sha256);
    return o;
}

FileIdentity fileIdentityFromJson(const QJsonObject& o)
{
    FileIdentity identity;
    identity.path = requireString(o, QLatin1String("path"));
    if (auto bookmark = optionalString(o, QLatin1String("bookmarkData"))) {
        auto decoded = QByteArray::fromBase64Encoding(bookmark->toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
        if (!decoded)
            throw DecodingError(QStringLiteral("bookmarkData: kein Base64"));
        identity.bookmarkData = *decoded;
    }
    identity.volumeUUID = optionalString(o, QLatin1String("volumeUUID"));
    identity.documentIdentifier = optionalString(o, QLatin1String("documentIdentifier"));
    identity.resourceIdentifier = optionalString(o, QLatin1String("resourceIdentifier"));
    identity.generationIdentifier = optionalString(o, QLatin1String("generationIdentifier"));
    identity.device = toUnsigned(requireInt(o, QLatin1String("device")));
    identity.inode = toUnsigned(requireInt(o, QLatin1String("inode")));
    identity.linkCount = toUnsigned(requireInt(o, QLatin1String("linkCount")));
    identity.size = requireInt(o, QLatin1String("size"));
    identity.modificationSeconds = requireInt(o, QLatin1String("modificationSeconds"));
    identity.modificationNanoseconds = requireInt(o, QLatin1String("modificationNanoseconds"));
    identity.statusChangeSeconds = requireInt(o, QLatin1String("statusChangeSeconds"));
    identity.statusChangeNanoseconds = requireInt(o, QLatin1String("statusChangeNanoseconds"));
    identity.sha256 = requireString(o, QLatin1String("sha256"));
    return identity;
}

QJsonObject toJson(const TrashSourceItem& item)
{
    QJsonObject o;
    o.insert(QLatin1String("sourceURL"), item.sourceURL.toUrlString());
    o.insert(QLatin1String("displayName"), item.displayName);
    return o;
}

TrashSourceItem trashSourceItemFromJson(const QJsonObject& o)
{
    return {requireUrl(o, QLatin1String("sourceURL")), requireString(o, QLatin1String("displayName"))};
}

QJsonObject toJson(const TrashGroup& group)
{
    QJsonObject o;
    o.insert(QLatin1String("id"), encodeUuid(group.id));
    o.insert(QLatin1String("members"), toJsonArray(group.members));
    putOptional(o, QLatin1String("validationError"), group.validationError);
    return o;
}

TrashGroup trashGroupFromJson(const QJsonObject& o)
{
    TrashGroup group;
    group.id = requireUuid(o, QLatin1String("id"));
    group.members = decodeList<TrashSourceItem>(requireArray(o, QLatin1String("members")), "members", trashSourceItemFromJson);
    group.validationError = optionalString(o, QLatin1String("validationError"));
    return group;
}

QJsonObject toJson(const TrashReceipt& receipt, TrashDateStyle dates)
{
    QJsonObject o;
    o.insert(QLatin1String("sourceURL"), receipt.sourceURL.toUrlString());
    o.insert(QLatin1String("resultingURL"), receipt.resultingURL.toUrlString());
    o.insert(QLatin1String("movedAt"), encodeDate(receipt.movedAt, dates));
    o.insert(QLatin1String("identity"), toJson(receipt.identity));
    return o;
}

TrashReceipt trashReceiptFromJson(const QJsonObject& o, TrashDateStyle dates)
{
    TrashReceipt receipt;
    receipt.sourceURL = requireUrl(o, QLatin1String("sourceURL"));
    receipt.resultingURL = requireUrl(o, QLatin1String("resultingURL"));
    receipt.movedAt = decodeDate(o, QLatin1String("movedAt"), dates);
    receipt.identity = fileIdentityFromJson(requireObject(o, QLatin1String("identity")));
    return receipt;
}

QJsonObject toJson(const TrashEntry& entry, TrashDateStyle dates)
{
    QJsonObject o;
    o.insert(QLatin1String("id"), encodeUuid(entry.id));
    o.insert(QLatin1String("groupID"), encodeUuid(entry.groupID));
    o.insert(QLatin1String("sourceURL"), entry.sourceURL.toUrlString());
    o.insert(QLatin1String("stagingURL"), entry.stagingURL.toUrlString());
    o.insert(QLatin1String("sourceIdentity"), toJson(entry.sourceIdentity));
    putOptional(o, QLatin1String("stagingIdentity"), entry.stagingIdentity, [](const FileIdentity& i) { return toJson(i); });
    o.insert(QLatin1String("state"), rawValue(entry.state));
    putOptional(o, QLatin1String("receipt"), entry.receipt, [dates](const TrashReceipt& r) { return toJson(r, dates); });
    putOptional(o, QLatin1String("message"), entry.message);
    return o;
}

TrashEntry trashEntryFromJson(const QJsonObject& o, TrashDateStyle dates)
{
    TrashEntry entry;
    entry.id = requireUuid(o, QLatin1String("id"));
    entry.groupID = requireUuid(o, QLatin1String("groupID"));
    entry.sourceURL = requireUrl(o, QLatin1String("sourceURL"));
    entry.stagingURL = requireUrl(o, QLatin1String("stagingURL"));
    entry.sourceIdentity = fileIdentityFromJson(requireObject(o, QLatin1String("sourceIdentity")));
    if (o.contains(QLatin1String("stagingIdentity")))
        entry.stagingIdentity = fileIdentityFromJson(requireObject(o, QLatin1String("stagingIdentity")));
    entry.state = requireEnum<TrashTransactionState>(o, QLatin1String("state"));
    if (o.contains(QLatin1String("receipt")))
        entry.receipt = trashReceiptFromJson(requireObject(o, QLatin1String("receipt")), dates);
    entry.message = optionalString(o, QLatin1String("message"));
    return entry;
}

QJsonObject toJson(const SourceVolumeSummary& volume)
{
    QJsonObject o;
    o.insert(QLatin1String("id"), volume.id);
    o.insert(QLatin1String("name"), volume.name);
    o.insert(QLatin1String("format"), volume.format);
    o.insert(QLatin1String("isLocal"), volume.isLocal);
    o.insert(QLatin1String("isRemovable"), volume.isRemovable);
    return o;
}

SourceVolumeSummary sourceVolumeSummaryFromJson(const QJsonObject& o)
{
    SourceVolumeSummary volume;
    volume.id = requireString(o, QLatin1String("id"));
    volume.name = requireString(o, QLatin1String("name"));
    volume.format = requireString(o, QLatin1String("format"));
    volume.isLocal = requireBool(o, QLatin1String("isLocal"));
    volume.isRemovable = requireBool(o, QLatin1String("isRemovable"));
    return volume;
}

QJsonObject toJson(const TrashPreparation& preparation)
{
    QJsonObject o;
    o.insert(QLatin1String("sessionID"), encodeUuid(preparation.sessionID));
    o.insert(QLatin1String("stagingRoot"), preparation.stagingRoot.toUrlString());
    o.insert(QLatin1String("entries"), toJsonArray(preparation.entries));
    o.insert(QLatin1String("sourceVolumes"), toJsonArray(preparation.sourceVolumes));
    o.insert(QLatin1String("sameVolumeAsSource"), preparation.sameVolumeAsSource);
    return o;
}

TrashPreparation trashPreparationFromJson(const QJsonObject& o)
{
    TrashPreparation preparation;
    preparation.sessionID = requireUuid(o, QLatin1String("sessionID"));
    preparation.stagingRoot = requireUrl(o, QLatin1String("stagingRoot"));
    preparation.entries = decodeList<TrashEntry>(requireArray(o, QLatin1String("entries")), "entries",
                                                 [](const QJsonObject& e) { return trashEntryFromJson(e); });
    preparation.sourceVolumes = decodeList<SourceVolumeSummary>(requireArray(o, QLatin1String("sourceVolumes")),
                                                                "sourceVolumes", sourceVolumeSummaryFromJson);
    preparation.sameVolumeAsSource = requireBool(o, QLatin1String("sameVolumeAsSource"));
    return preparation;
}

} // namespace kestrava
