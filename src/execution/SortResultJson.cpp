#include "SortResultJson.h"

#include <QJsonArray>

namespace kestrava {

QJsonObject toJson(const SortResult& result)
{
    QJsonObject object;
    object.insert(QLatin1String("organizedCount"), result.organizedCount);
    object.insert(QLatin1String("skippedCount"), result.skippedCount);
    object.insert(QLatin1String("pendingCount"), result.pendingCount);
    object.insert(QLatin1String("trashedCount"), result.trashedCount);
    object.insert(QLatin1String("retainedDiscardCount"), result.retainedDiscardCount);
    object.insert(QLatin1String("untouchedCount"), result.untouchedCount);
    object.insert(QLatin1String("errors"), QJsonArray::fromStringList(result.errors));
    QJsonArray records;
    for (const ExecutionRecord& record : result.records)
        records.append(toJson(record));
    object.insert(QLatin1String("records"), records);
    return object;
}

} // namespace kestrava
