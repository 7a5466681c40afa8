#pragma once

// JSON coding of the trash values. Keys are the field names; optional fields are left out
// when absent; the bookmark is base64. Dates (only a receipt's movedAt) have two forms:
// the session document uses the common ISO 8601 form with whole seconds, the trash journal
// milliseconds since 1970 as a number, so that its records re-encode byte for byte.
// Decoders throw DecodingError naming the offending key.

#include "TrashTypes.h"

#include <QJsonObject>

namespace kestrava {

enum class TrashDateStyle { iso8601, millisecondsSince1970 };

QJsonObject toJson(const FileIdentity& identity);
FileIdentity fileIdentityFromJson(const QJsonObject& object);

QJsonObject toJson(const TrashSourceItem& item);
TrashSourceItem trashSourceItemFromJson(const QJsonObject& object);

QJsonObject toJson(const TrashGroup& group);
TrashGroup trashGroupFromJson(const QJsonObject& object);

QJsonObject toJson(const TrashReceipt& receipt, TrashDateStyle dates = TrashDateStyle::iso8601);
TrashReceipt trashReceiptFromJson(const QJsonObject& object, TrashDateStyle dates = TrashDateStyle::iso8601);

QJsonObject toJson(const TrashEntry& entry, TrashDateStyle dates = TrashDateStyle::iso8601);
TrashEntry trashEntryFromJson(const QJsonObject& object, TrashDateStyle dates = TrashDateStyle::iso8601);

QJsonObject toJson(const SourceVolumeSummary& volume);
SourceVolumeSummary sourceVolumeSummaryFromJson(const QJsonObject& object);

// The form stored in the session document under "trashPreparation".
QJsonObject toJson(const TrashPreparation& preparation);
TrashPreparation trashPreparationFromJson(const QJsonObject& object);

} // namespace kestrava
