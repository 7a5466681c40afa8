#pragma once

// JSON coding of the photo model's values, exactly as they appear inside session documents.

#include "Json.h"
#include "PhotoModel.h"

namespace kestrava {

// A photo's `captureDate` is written on the whole second like every persisted date; the
// milliseconds a camera recorded beyond it travel in `captureMilliseconds` (integer 1...999,
// left out when 0), so older documents and readers keep their meaning.
//
// `captureDateOrigin` ("exif" | "fileDate" | "unknown") says where `captureDate` came from. A
// document without it means impliedCaptureDateOrigin(), so it is written only where it says
// something else: documents from before it existed read as they always did.
// The milliseconds of `date` past its whole second, 0 for an invalid date.
int captureMillisecondsOf(const QDateTime& date);
// `milliseconds` must lie in 0...999; anything else is a damaged document (DecodingError).
QDateTime withCaptureMilliseconds(const QDateTime& wholeSecond, qint64 milliseconds);

// The origin a photo without `captureDateOrigin` has. Only the metadata pipeline ever replaced
// the scanner's file date, and only with a date read from the file, so a capture date that
// differs from a known modification date stored beside it came from the camera. An equal one
// is unknown: a camera writes its file within the second it shot it as often as not.
CaptureDateOrigin impliedCaptureDateOrigin(const PhotoItem& photo);

QJsonObject toJson(const PhotoItem& item);
PhotoItem photoItemFromJson(const QJsonObject& object);
QJsonArray toJson(const QList<PhotoItem>& items);
QList<PhotoItem> photoItemsFromJson(const QJsonArray& array);

QJsonObject toJson(const ReviewGroup& group);
ReviewGroup reviewGroupFromJson(const QJsonObject& object);

QJsonObject toJson(const FileFingerprint& fingerprint);
FileFingerprint fileFingerprintFromJson(const QJsonObject& object);

} // namespace kestrava
