#include "JsonTextWriter.h"

#include "model/Json.h"

#include <QJsonDocument>

namespace kestrava {

namespace {

char hexDigit(unsigned value)
{
    return char(value < 10 ? '0' + value : 'a' + value - 10);
}

void appendTwoDigits(char*& cursor, int value)
{
    *cursor++ = char('0' + value / 10);
    *cursor++ = char('0' + value % 10);
}

// Days since 1970-01-01 to the proleptic Gregorian date (Howard Hinnant's algorithm).
void civilFromDays(qint64 days, qint64& year, int& month, int& day)
{
    days += 719468;
    const qint64 era = (days >= 0 ? days : days - 146096) / 146097;
    const qint64 dayOfEra = days - era * 146097;
    const qint64 yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const qint64 dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const qint64 monthIndex = (5 * dayOfYear + 2) / 153;
    day = int(dayOfYear - (153 * monthIndex + 2) / 5 + 1);
    month = int(monthIndex < 10 ? monthIndex + 3 : monthIndex - 9);
    year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
}

qint64 floorDivide(qint64 value, qint64 divisor)
{
    const qint64 quotient = value / divisor;
    return (value % divisor != 0 && (value < 0) != (divisor < 0)) ? quotient - 1 : quotient;
}

} // namespace

JsonTextWriter::JsonTextWriter(qsizetype reserveBytes)
{
    out_.reserve(reserveBytes);
}

void JsonTextWriter::separate()
{
    if (afterKey_) {
        afterKey_ = false;
        return;
    }
    if (!hasValue_.empty()) {
        if (hasValue_.back())
            out_.append(',');
        hasValue_.back() = true;
    }
}

void JsonTextWriter::beginObject()
{
    separate();
    out_.append('{');
    hasValue_.push_back(false);
}

void JsonTextWriter::endObject()
{
    hasValue_.pop_back();
    out_.append('}');
}

void JsonTextWriter::beginArray()
{
    separate();
    out_.append('[');
    hasValue_.push_back(false);
}

void JsonTextWriter::endArray()
{
    hasValue_.pop_back();
    out_.append(']');
}

void JsonTextWriter::key(QLatin1StringView name)
{
    separate();
    out_.append('"').append(name.data(), name.size()).append("\":");
    afterKey_ = true;
}

void JsonTextWriter::key(QStringView name)
{
    separate();
    quoted(name);
    out_.append(':');
    afterKey_ = true;
}

void JsonTextWriter::string(QStringView text)
{
    separate();
    quoted(text);
}

void JsonTextWriter::quoted(QStringView text)
{
    // Qt's escaping: the two JSON specials, short forms for five controls, \u00XX for the
    // other controls, UTF-8 for the rest and \uXXXX for a surrogate without its partner.
    const qsizetype start = out_.size();
    out_.resize(start + 2 + text.size() * 6);
    char* cursor = out_.data() + start;
    *cursor++ = '"';
    const char16_t* source = text.utf16();
    const char16_t* const end = source + text.size();
    while (source < end) {
        const char16_t unit = *source++;
        if (unit < 0x80) {
            if (unit >= 0x20 && unit != u'"' && unit != u'\\') {
                *cursor++ = char(unit);
                continue;
            }
            *cursor++ = '\\';
            switch (unit) {
            case u'"': *cursor++ = '"'; break;
            case u'\\': *cursor++ = '\\'; break;
            case u'\b': *cursor++ = 'b'; break;
            case u'\f': *cursor++ = 'f'; break;
            case u'\n': *cursor++ = 'n'; break;
            case u'\r': *cursor++ = 'r'; break;
            case u'\t': *cursor++ = 't'; break;
            default:
                *cursor++ = 'u';
                *cursor++ = '0';
                *cursor++ = '0';
                *cursor++ = hexDigit(unit >> 4);
                *cursor++ = hexDigit(unit & 0xf);
            }
        } else if (unit < 0x800) {
            *cursor++ = char(0xc0 | (unit >> 6));
            *cursor++ = char(0x80 | (unit & 0x3f));
        } else if (QChar::isHighSurrogate(unit) && source < end && QChar::isLowSurrogate(*source)) {
            const char32_t code = QChar::surrogateToUcs4(unit, *source++);
            *cursor++ = char(0xf0 | (code >> 18));
            *cursor++ = char(0x80 | ((code >> 12) & 0x3f));
            *cursor++ = char(0x80 | ((code >> 6) & 0x3f));
            *cursor++ = char(0x80 | (code & 0x3f));
        } else if (QChar::isSurrogate(unit)) {
            *cursor++ = '\\';
            *cursor++ = 'u';
            for (int shift = 12; shift >= 0; shift -= 4)
                *cursor++ = hexDigit((unit >> shift) & 0xf);
        } else {
            *cursor++ = char(0xe0 | (unit >> 12));
            *cursor++ = char(0x80 | ((unit >> 6) & 0x3f));
            *cursor++ = char(0x80 | (unit & 0x3f));
        }
    }
    *cursor++ = '"';
    out_.resize(cursor - out_.constData());
}

void JsonTextWriter::integer(qint64 number)
{
    separate();
    out_.append(QByteArray::number(number));
}

void JsonTextWriter::boolean(bool value)
{
    separate();
    out_.append(value ? "true" : "false");
}

void JsonTextWriter::date(const QDateTime& date)
{
    if (date.isValid()) {
        const qint64 seconds = floorDivide(date.toMSecsSinceEpoch(), 1000);
        const qint64 days = floorDivide(seconds, 86400);
        const int secondOfDay = int(seconds - days * 86400);
        qint64 year = 0;
        int month = 0;
        int day = 0;
        civilFromDays(days, year, month, day);
        if (year >= 1 && year <= 9999) {
            separate();
            char text[22];
            char* cursor = text;
            *cursor++ = '"';
            appendTwoDigits(cursor, int(year / 100));
            appendTwoDigits(cursor, int(year % 100));
            *cursor++ = '-';
            appendTwoDigits(cursor, month);
            *cursor++ = '-';
            appendTwoDigits(cursor, day);
            *cursor++ = 'T';
            appendTwoDigits(cursor, secondOfDay / 3600);
            *cursor++ = ':';
            appendTwoDigits(cursor, secondOfDay / 60 % 60);
            *cursor++ = ':';
            appendTwoDigits(cursor, secondOfDay % 60);
            *cursor++ = 'Z';
            *cursor++ = '"';
            out_.append(text, cursor - text);
            return;
        }
    }
    string(json::encodeDate(date));
}

void JsonTextWriter::object(const QJsonObject& object)
{
    separate();
    out_.append(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

} // namespace kestrava
