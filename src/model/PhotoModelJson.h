#pragma once

// JSON coding of the photo model's values, exactly as they appear inside session documents.

#include "Json.h"
#include "PhotoModel.h"

namespace kestrava {

// A photo's `captureDate` is written on the whole second like every persisted date; the
// milliseconds a camera recorded beyond it travel in `captureMilliseconds` (integer 1...999,
// left out when 0), so older documents and readers keep their meaning.
// The milliseconds of `date` past its whole second, 0 for an invalid date.
int captureMillisecondsOf(const QDateTime& date);
// `milliseconds` must lie in 0...999; anything else is a damaged document (DecodingError).
QDateTime withCaptureMilliseconds(const QDateTime& wholeSecond, qint64 milliseconds);

QJsonObject toJson(const PhotoItem& item);
PhotoItem photoItemFromJson(const QJsonObject& object);
QJsonArray toJson(const QList<PhotoItem>& items);
QList<PhotoItem> photoItemsFromJson(const QJsonArray& array);

QJsonObject toJson(const ReviewGroup& group);
ReviewGroup reviewGroupFromJson(const QJsonObject& object);

QJsonObject toJson(const FileFingerprint& fingerprint);
FileFingerprint fileFingerprintFromJson(const QJsonObject& object);

} // namespace kestrava
