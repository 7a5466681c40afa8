#include "SessionEventReader.h"

#include "JsonScanner.h"
#include "SessionStoreError.h"

#include <limits>

namespace kestrava {

using namespace Qt::StringLiterals;

namespace detail {

std::optional<SessionEvent> decodeEventLineFast(QByteArrayView line)
{
    enum Key : unsigned { sequence = 1, timestamp = 2, kind = 4, sourcePaths = 8, sourcePath = 16, decision = 32,
                          category = 64, currentIndex = 128 };
    JsonScanner s(line);
    if (!s.consume('{'))
        return std::nullopt;
    SessionEvent event;
    QString key;
    QString text;
    QString legacyPath;
    unsigned seen = 0;
    if (!s.peek('}')) {
        do {
            if (!s.string(key) || !s.consume(':'))
                return std::nullopt;
            unsigned bit = 0;
            if (key == "sequence"_L1) {
                bit = sequence;
                if (!s.integer(event.sequence))
                    return std::nullopt;
            } else if (key == "currentIndex"_L1) {
                bit = currentIndex;
                qint64 index = 0;
                if (!s.integer(index) || index < std::numeric_limits<int>::min() || index > std::numeric_limits<int>::max())
                    return std::nullopt;
                event.currentIndex = int(index);
            } else if (key == "sourcePaths"_L1) {
                bit = sourcePaths;
                if (!s.consume('['))
                    return std::nullopt;
                if (!s.consume(']')) {
                    do {
                        if (!s.string(text))
                            return std::nullopt;
                        event.sourcePaths.append(text);
                    } while (s.consume(','));
                    if (!s.consume(']'))
                        return std::nullopt;
                }
            } else {
                if (!s.string(text))
                    return std::nullopt;
                if (key == "timestamp"_L1) {
                    bit = timestamp;
                    const auto date = json::decodeDate(text);
                    if (!date)
                        return std::nullopt;
                    event.timestamp = *date;
                } else if (key == "kind"_L1) {
                    bit = kind;
                    const auto value = enumFromRaw<SessionEventKind>(text);
                    if (!value)
                        return std::nullopt;
                    event.kind = *value;
                } else if (key == "decision"_L1) {
                    bit = decision;
                    event.decision = enumFromRaw<PhotoDecision>(text);
                    if (!event.decision)
                        return std::nullopt;
                } else if (key == "category"_L1) {
                    bit = category;
                    event.category = text;
                } else if (key == "sourcePath"_L1) {
                    bit = sourcePath;
                    legacyPath = text;
                } else {
                    return std::nullopt;
                }
            }
            if (seen & bit)
                return std::nullopt;
            seen |= bit;
        } while (s.consume(','));
    }
    if (!s.consume('}') || !s.atEnd())
        return std::nullopt;
    if ((seen & (sequence | timestamp | kind)) != (sequence | timestamp | kind) || !(seen & (sourcePaths | sourcePath)))
        return std::nullopt;
    if (!(seen & sourcePaths))
        event.sourcePaths = QStringList{legacyPath};
    return event;
}

SessionEvent decodeEventLineGeneral(QByteArrayView line)
{
    try {
        return sessionEventFromJson(json::parseObject(line.toByteArray()));
    } catch (const DecodingError& error) {
        throw SessionStoreError::corruptSession(error.detail());
    }
}

} // namespace detail

SessionEvent decodeEventLine(QByteArrayView line)
{
    if (auto event = detail::decodeEventLineFast(line))
        return std::move(*event);
    return detail::decodeEventLineGeneral(line);
}

} // namespace kestrava
