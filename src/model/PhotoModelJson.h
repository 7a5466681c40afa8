#pragma once

// JSON coding of the photo model's values, exactly as they appear inside session documents.

#include "Json.h"
#include "PhotoModel.h"

namespace kestrava {

QJsonObject toJson(const PhotoItem& item);
PhotoItem photoItemFromJson(const QJsonObject& object);
QJsonArray toJson(const QList<PhotoItem>& items);
QList<PhotoItem> photoItemsFromJson(const QJsonArray& array);

QJsonObject toJson(const ReviewGroup& group);
ReviewGroup reviewGroupFromJson(const QJsonObject& object);

QJsonObject toJson(const FileFingerprint& fingerprint);
FileFingerprint fileFingerprintFromJson(const QJsonObject& object);

} // namespace kestrava
