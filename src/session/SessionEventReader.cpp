#include "SessionEventReader.h"

#include "JsonScanner.h"
#include "SessionStoreError.h"

#include <limits>

namespace kestrava {

using namespace Qt::StringLiterals;

namespace detail {

std::optional<SessionEvent> decodeEventLineFast(QByteArrayView line)
{
    constexpr unsigned sequence = 1, timestamp = 2, kind = 4, sourcePaths = 8, sourcePath = 16, decision = 32,
                       category = 64, currentIndex = 128;
    JsonScanner s(line);
    SessionEvent event;
    QString text;
    QString legacyPath;
    unsigned seen = 0;
    const bool scanned = s.knownMembers(seen, [&](const QString& key) -> unsigned {
        if (key == "sequence"_L1)
            return s.integer(event.sequence) ? sequence : 0;
        if (key == "currentIndex"_L1) {
            qint64 index = 0;
            if (!s.integer(index) || index < std::numeric_limits<int>::min() || index > std::numeric_limits<int>::max())
                return 0;
            event.currentIndex = int(index);
            return currentIndex;
        }
        if (key == "sourcePaths"_L1) {
            const bool listed = s.elements([&] {
                if (!s.string(text))
                    return false;
                event.sourcePaths.append(text);
                return true;
            });
            return listed ? sourcePaths : 0;
        }
        if (!s.string(text))
            return 0;
        if (key == "timestamp"_L1) {
            const auto date = json::decodeDate(text);
            if (!date)
                return 0;
            event.timestamp = *date;
            return timestamp;
        }
        if (key == "kind"_L1) {
            const auto value = enumFromRaw<SessionEventKind>(text);
            if (!value)
                return 0;
            event.kind = *value;
            return kind;
        }
        if (key == "decision"_L1) {
            event.decision = enumFromRaw<PhotoDecision>(text);
            return event.decision ? decision : 0;
        }
        if (key == "category"_L1) {
            event.category = text;
            return category;
        }
        if (key == "sourcePath"_L1) {
            legacyPath = text;
            return sourcePath;
        }
        return 0;
    });
    if (!scanned || !s.atEnd())
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
