#pragma once

// Shared JSON conventions for everything Kestrava persists: sorted keys and compact output
// (QJsonObject keeps keys sorted), dates as ISO 8601 UTC with whole seconds and "Z",
// upper-case hyphenated UUIDs, absolute `file:` URL strings, enums by raw value, optional
// values left out. Decoders throw DecodingError naming the offending key.

#include "EnumNames.h"
#include "FileUrl.h"
#include "KestravaError.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QUuid>
#include <optional>

namespace kestrava::json {

QByteArray toCompactJson(const QJsonObject& object);
QByteArray toCompactJson(const QJsonArray& array);
// Throws DecodingError unless `bytes` is one JSON object.
QJsonObject parseObject(const QByteArray& bytes);

QString encodeDate(const QDateTime& date);
std::optional<QDateTime> decodeDate(const QString& text);
QString encodeUuid(const QUuid& uuid);
std::optional<QUuid> decodeUuid(const QString& text);

QJsonValue require(const QJsonObject& object, QLatin1StringView key);
QString requireString(const QJsonObject& object, QLatin1StringView key);
qint64 requireInt(const QJsonObject& object, QLatin1StringView key);
bool requireBool(const QJsonObject& object, QLatin1StringView key);
QDateTime requireDate(const QJsonObject& object, QLatin1StringView key);
QUuid requireUuid(const QJsonObject& object, QLatin1StringView key);
FileUrl requireUrl(const QJsonObject& object, QLatin1StringView key);
QJsonObject requireObject(const QJsonObject& object, QLatin1StringView key);
QJsonArray requireArray(const QJsonObject& object, QLatin1StringView key);

// Absent key (or null) → nullopt; present with the wrong type → DecodingError.
std::optional<QString> optionalString(const QJsonObject& object, QLatin1StringView key);
std::optional<qint64> optionalInt(const QJsonObject& object, QLatin1StringView key);
std::optional<bool> optionalBool(const QJsonObject& object, QLatin1StringView key);
std::optional<QDateTime> optionalDate(const QJsonObject& object, QLatin1StringView key);
std::optional<FileUrl> optionalUrl(const QJsonObject& object, QLatin1StringView key);

template <class E>
E requireEnum(const QJsonObject& object, QLatin1StringView key)
{
    const QString raw = requireString(object, key);
    if (auto value = enumFromRaw<E>(raw))
        return *value;
    throw DecodingError(QStringLiteral("%1: unbekannter Wert „%2“").arg(key, raw));
}

template <class E>
std::optional<E> optionalEnum(const QJsonObject& object, QLatin1StringView key)
{
    if (!object.contains(key) || object.value(key).isNull())
        return std::nullopt;
    return requireEnum<E>(object, key);
}

// Writes `value` under `key` only when present.
template <class T, class Encode>
void putOptional(QJsonObject& object, QLatin1StringView key, const std::optional<T>& value, Encode encode)
{
    if (value)
        object.insert(key, encode(*value));
}

// Each element as its toJson() gives it, in order.
template <class T>
QJsonArray toJsonArray(const QList<T>& list)
{
    QJsonArray array;
    for (const T& element : list)
        array.append(toJson(element));
    return array;
}

// Writes the text under `key` only when present.
inline void putOptional(QJsonObject& object, QLatin1StringView key, const std::optional<QString>& value)
{
    if (value)
        object.insert(key, *value);
}

} // namespace kestrava::json
