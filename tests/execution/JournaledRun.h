#pragma once

// A sort run in process as the application makes it, for the power-cut tests: the plan's
// pending records are journaled durably before anything is copied, every record after it too,
// and a run started again over the same journal resumes from what it says.

#include "ExecutionTestSupport.h"

#include "model/PhotoModelJson.h"
#include "platform/DurableFile.h"

#include <QJsonDocument>

namespace kestrava::test {

inline QByteArray journalLine(const ExecutionRecord& record)
{
    return QJsonDocument(toJson(record)).toJson(QJsonDocument::Compact) + '\n';
}

// The journal's whole lines (a line torn by the cut does not count); a source's last record wins.
inline QMap<QString, ExecutionRecord> readJournal(const QString& journal)
{
    QMap<QString, ExecutionRecord> records;
    if (!QFileInfo::exists(journal))
        return records;
    QByteArray content = readWholeFile(journal);
    content.truncate(wholeLinesLength(content));
    for (const QByteArray& line : content.split('\n'))
        if (!line.isEmpty()) {
            const ExecutionRecord record = executionRecordFromJson(QJsonDocument::fromJson(line).object());
            records.insert(record.sourcePath, record);
        }
    return records;
}

// Plans `items` against what `journal` says, journals the pending records and runs the plan.
inline SortResult executeJournaled(const QList<PhotoItem>& items, const SortOptions& options, const QString& journal,
                                   FileOps& ops)
{
    namespace Executor = ResumableSortExecutor;
    const QMap<QString, ExecutionRecord> records = readJournal(journal);
    const SortExecutionPlan plan = Executor::buildPlan(items, options, records);
    for (const PlannedAction& action : plan.actions) {
        const ExecutionRecord pending{action.id, action.destinationURL.path(), ExecutionActionStatus::pending, 0, std::nullopt};
        if (!action.shouldSkip && records.value(action.id) != pending)
            durableAppendLine(journal, journalLine(pending), ops);
    }
    Executor::ExecutionHandlers handlers;
    handlers.record = [&](const ExecutionRecord& record) { durableAppendLine(journal, journalLine(record), ops); };
    return Executor::executeSynchronously(plan, true, handlers, ops);
}

} // namespace kestrava::test
