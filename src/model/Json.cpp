#include "Json.h"

#include <QJsonDocument>
#include <QJsonParseError>
#include <cmath>

namespace kestrava::json {

namespace {
[[noreturn]] void fail(QLatin1StringView key, const char* what)
{
    throw DecodingError(QStringLiteral("%1: %2").arg(key, QLatin1StringView(what)));
}
} // namespace

QByteArray toCompactJson(const QJsonObject& object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QByteArray toCompactJson(const QJsonArray& array)
{
    return QJsonDocument(array).toJson(QJsonDocument::Compact);
}

QJsonObject parseObject(const QByteArray& bytes)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError)
        throw DecodingError(error.errorString());
    if (!document.isObject())
        throw DecodingError(QStringLiteral("kein JSON-Objekt"));
    return document.object();
}

QString encodeDate(const QDateTime& date)
{
    // Whole seconds: persisted dates must compare equal after a round trip.
    const QDateTime utc = date.toUTC();
    return utc.addMSecs(-(utc.toMSecsSinceEpoch() % 1000 + 1000) % 1000).toString(Qt::ISODate);
}

std::optional<QDateTime> decodeDate(const QString& text)
{
    // Internet date-time only: a date without a time or zone is not accepted.
    if (text.size() < 20 || text.at(10) != QLatin1Char('T'))
        return std::nullopt;
    const QChar last = text.back();
    if (last != QLatin1Char('Z') && text.at(text.size() - 3) != QLatin1Char(':'))
        return std::nullopt;
    QDateTime parsed = QDateTime::fromString(text, Qt::ISODateWithMs);
    if (!parsed.isValid())
        return std::nullopt;
    return parsed.toUTC();
}

QString encodeUuid(const QUuid& uuid)
{
    return uuid.toString(QUuid::WithoutBraces).toUpper();
}

std::optional<QUuid> decodeUuid(const QString& text)
{
    if (text.size() != 36)
        return std::nullopt;
    const QUuid uuid = QUuid::fromString(text);
    if (uuid.isNull())
        return std::nullopt;
    return uuid;
}

QJsonValue require(const QJsonObject& object, QLatin1StringView key)
{
    const auto it = object.constFind(key);
    if (it == object.constEnd() || it->isNull() || it->isUndefined())
        fail(key, "fehlt");
    return *it;
}

QString requireString(const QJsonObject& object, QLatin1StringView key)
{
    const QJsonValue value = require(object, key);
    if (!value.isString())
        fail(key, "ist kein Text");
    return value.toString();
}

qint64 requireInt(const QJsonObject& object, QLatin1StringView key)
{
    const QJsonValue value = require(object, key);
    if (!value.isDouble())
        fail(key, "ist keine Zahl");
    const QVariant variant = value.toVariant();
    if (variant.typeId() == QMetaType::LongLong)
        return variant.toLongLong();
    const double number = value.toDouble();
    if (!std::isfinite(number) || std::floor(number) != number || std::fabs(number) > 9.007199254740992e15)
        fail(key, "ist keine ganze Zahl");
    return qint64(number);
}

bool requireBool(const QJsonObject& object, QLatin1StringView key)
{
    const QJsonValue value = require(object, key);
    if (!value.isBool())
        fail(key, "ist kein Wahrheitswert");
    return value.toBool();
}

QDateTime requireDate(const QJsonObject& object, QLatin1StringView key)
{
    if (auto date = decodeDate(requireString(object, key)))
        return *date;
    fail(key, "ist kein gültiges Datum");
}

QUuid requireUuid(const QJsonObject& object, QLatin1StringView key)
{
    if (auto uuid = decodeUuid(requireString(object, key)))
        return *uuid;
    fail(key, "ist keine gültige UUID");
}

FileUrl requireUrl(const QJsonObject& object, QLatin1StringView key)
{
    if (auto url = FileUrl::fromUrlString(requireString(object, key)))
        return *url;
    fail(key, "ist keine gültige Datei-URL");
}

QJsonObject requireObject(const QJsonObject& object, QLatin1StringView key)
{
    const QJsonValue value = require(object, key);
    if (!value.isObject())
        fail(key, "ist kein Objekt");
    return value.toObject();
}

QJsonArray requireArray(const QJsonObject& object, QLatin1StringView key)
{
    const QJsonValue value = require(object, key);
    if (!value.isArray())
        fail(key, "ist keine Liste");
    return value.toArray();
}

namespace {
bool absent(const QJsonObject& object, QLatin1StringView key)
{
    const auto it = object.constFind(key);
    return it == object.constEnd() || it->isNull();
}
} // namespace

std::optional<QString> optionalString(const QJsonObject& object, QLatin1StringView key)
{
    return absent(object, key) ? std::nullopt : std::optional(requireString(object, key));
}

std::optional<qint64> optionalInt(const QJsonObject& object, QLatin1StringView key)
{
    return absent(object, key) ? std::nullopt : std::optional(requireInt(object, key));
}

std::optional<bool> optionalBool(const QJsonObject& object, QLatin1StringView key)
{
    return absent(object, key) ? std::nullopt : std::optional(requireBool(object, key));
}

std::optional<QDateTime> optionalDate(const QJsonObject& object, QLatin1StringView key)
{
    return absent(object, key) ? std::nullopt : std::optional(requireDate(object, key));
}

std::optional<FileUrl> optionalUrl(const QJsonObject& object, QLatin1StringView key)
{
    return absent(object, key) ? std::nullopt : std::optional(requireUrl(object, key));
}

} // namespace kestrava::json

