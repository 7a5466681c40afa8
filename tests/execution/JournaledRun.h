#pragma once

// A sort run in process as the application makes it, for the power-cut tests: the plan's
// pending records are journaled durably before anything is copied, every record after it too,
// and a run started again over the same journal resumes from what it says.

#include "ExecutionTestSupport.h"
#include "PowerCutLoop.h"

#include "model/PhotoModelJson.h"
#include "platform/DurableFile.h"

#include <QJsonDocument>

#include <functional>
#include <optional>

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

// The scenario of a journaled run under power cuts: a fresh `Run` for each cut, executed over
// the cut file operations and, when the cut stopped it, resumed to its end as the next start
// of the program would; `expect` then checks what must hold.
template <class Run>
PowerCutScenario resumedAfterEachCut(std::optional<Run>& run, SortOperationMode mode,
                                     std::function<void(const Run&, const std::string& when)> expect)
{
    return {
        [&run, mode](TempTree& tree) { run.emplace(tree, mode); },
        [&run](TempTree&, FileOps& ops) {
            try {
                const SortResult result = run->execute(ops);
                EXPECT_TRUE(result.errors.isEmpty()) << result.errors.join('\n').toStdString();
            } catch (const KestravaError&) {
                // Copies are finished on threads of their own: the one that met the cut holds
                // it, while the run's thread may first meet the dead disk's I/O error.
                const auto* cut = dynamic_cast<const PowerCutFileOps*>(&ops);
                if (cut && cut->isPowerOut())
                    throw PowerCutFileOps::PowerCut();
                throw;
            }
        },
        [&run, expect](TempTree&, const std::string& when, bool completed) {
            if (!completed) {
                // The process that held the result folder's lock died with the power.
                QFile::remove(run->result + QStringLiteral("/.kestrava.lock"));
                const SortResult resumed = run->execute(FileOps::system());
                EXPECT_TRUE(resumed.errors.isEmpty()) << when << ": " << resumed.errors.join('\n').toStdString();
            }
            expect(*run, when);
        },
    };
}

} // namespace kestrava::test
