#include "SessionEvent.h"

#include "SessionStoreError.h"

#include <limits>

namespace kestrava {

using namespace Qt::StringLiterals;

QJsonObject toJson(const SessionEvent& event)
{
    QJsonObject o;
    o.insert("sequence"_L1, event.sequence);
    o.insert("timestamp"_L1, json::encodeDate(event.timestamp));
    o.insert("kind"_L1, rawValue(event.kind));
    o.insert("sourcePaths"_L1, QJsonArray::fromStringList(event.sourcePaths));
    json::putOptional(o, "decision"_L1, event.decision, [](PhotoDecision d) { return rawValue(d); });
    json::putOptional(o, "category"_L1, event.category);
    o.insert("currentIndex"_L1, event.currentIndex);
    json::putOptional(o, "executionRecord"_L1, event.executionRecord, [](const ExecutionRecord& r) { return toJson(r); });
    return o;
}

SessionEvent sessionEventFromJson(const QJsonObject& o)
{
    SessionEvent event;
    event.sequence = json::requireInt(o, "sequence"_L1);
    event.timestamp = json::requireDate(o, "timestamp"_L1);
    event.kind = json::requireEnum<SessionEventKind>(o, "kind"_L1);
    if (o.contains("sourcePaths"_L1) && !o.value("sourcePaths"_L1).isNull()) {
        const QJsonArray paths = json::requireArray(o, "sourcePaths"_L1);
        event.sourcePaths.reserve(paths.size());
        for (const QJsonValue& value : paths) {
            if (!value.isString())
                throw DecodingError(u"sourcePaths: Eintrag ist kein Text"_s);
            event.sourcePaths.append(value.toString());
        }
    } else {
        event.sourcePaths = QStringList{json::requireString(o, "sourcePath"_L1)};
    }
    event.decision = json::optionalEnum<PhotoDecision>(o, "decision"_L1);
    event.category = json::optionalString(o, "category"_L1);
    const qint64 index = json::optionalInt(o, "currentIndex"_L1).value_or(0);
    if (index < std::numeric_limits<int>::min() || index > std::numeric_limits<int>::max())
        throw DecodingError(u"currentIndex: Zahl außerhalb des Bereichs"_s);
    event.currentIndex = int(index);
    if (o.contains("executionRecord"_L1) && !o.value("executionRecord"_L1).isNull())
        event.executionRecord = executionRecordFromJson(json::requireObject(o, "executionRecord"_L1));
    return event;
}

QByteArray encodeEventLine(const SessionEvent& event)
{
    return json::toCompactJson(toJson(event));
}

} // namespace kestrava
