// Test-only stand-in for a sort run of the application: runs the executor over a folder and
// journals every record as one flushed JSON line, as the session store does.
//
// execution_crash_child SOURCE RESULT JOURNAL MODE VERIFY
//   SOURCE   folder of photos (scanned on the first run into JOURNAL.items, reused afterwards,
//            because moved originals are no longer there to be scanned)
//   RESULT   the result folder
//   JOURNAL  JSON lines, one ExecutionRecord each; the last line for a source path counts and
//            blank lines are skipped
// Exit: 0 all files completed, 1 some failed or pending, 3 result folder locked, 4 other error.

#include "execution/ResumableSortError.h"
#include "execution/ResumableSortExecutor.h"

#include "model/PhotoModelJson.h"
#include "platform/DurableFile.h"

#include <QDirIterator>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>

#include <cstdio>

using namespace kestrava;

namespace {

QList<PhotoItem> loadOrScanItems(const QString& source, const QString& itemsFile)
{
    if (QFileInfo::exists(itemsFile))
        return photoItemsFromJson(QJsonDocument::fromJson(readWholeFile(itemsFile)).array());
    QList<PhotoItem> items;
    QDirIterator it(source, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QFileInfo info(it.next());
        PhotoItem item;
        item.sourceURL = FileUrl::fromLocalPath(info.absoluteFilePath());
        item.relativePath = QDir(source).relativeFilePath(info.absoluteFilePath());
        item.formatGroup = formatGroupForFileName(info.fileName());
        item.decision = PhotoDecision::keep;
        item.fileSize = info.size();
        item.modificationDate = info.lastModified().toUTC();
        item.captureDate = distantPast();
        items.append(item);
    }
    atomicReplace(itemsFile, QJsonDocument(toJson(items)).toJson(QJsonDocument::Compact));
    return items;
}

QMap<QString, ExecutionRecord> readJournal(const QString& journal)
{
    QMap<QString, ExecutionRecord> records;
    if (!QFileInfo::exists(journal))
        return records;
    for (const QByteArray& line : readWholeFile(journal).split('\n')) {
        const QJsonDocument document = QJsonDocument::fromJson(line);
        if (!document.isObject())
            continue;
        try {
            const ExecutionRecord record = executionRecordFromJson(document.object());
            records.insert(record.sourcePath, record);
        } catch (const DecodingError&) {
        }
    }
    return records;
}

QByteArray lineFor(const ExecutionRecord& record)
{
    return QJsonDocument(toJson(record)).toJson(QJsonDocument::Compact) + '\n';
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 6) {
        std::fprintf(stderr, "usage: %s SOURCE RESULT JOURNAL MODE VERIFY\n", argv[0]);
        return 2;
    }
    const QString source = QString::fromLocal8Bit(argv[1]);
    const QString result = QString::fromLocal8Bit(argv[2]);
    const QString journal = QString::fromLocal8Bit(argv[3]);
    SortOptions options;
    options.destinationRoot = FileUrl::fromLocalPath(result);
    options.groupByDate = false;
    options.operationMode = enumFromRaw<SortOperationMode>(QString::fromLatin1(argv[4])).value();
    options.verificationMode = enumFromRaw<VerificationMode>(QString::fromLatin1(argv[5])).value();

    try {
        const QList<PhotoItem> items = loadOrScanItems(source, journal + ".items");
        QMap<QString, ExecutionRecord> records = readJournal(journal);
        const SortExecutionPlan plan = ResumableSortExecutor::buildPlan(items, options, records);

        // Persist the plan: every action that is to run gets a pending record with its destination.
        // One line per append, as the session store does: an append first cuts off a line a
        // kill left torn, so the next record is never glued to it and lost.
        for (const PlannedAction& action : plan.actions) {
            if (action.shouldSkip)
                continue;
            const ExecutionRecord pending{action.id, action.destinationURL.path(), ExecutionActionStatus::pending, 0,
                                          std::nullopt};
            if (records.value(action.id) != pending)
                durableAppendLine(journal, lineFor(pending));
        }

        ResumableSortExecutor::ExecutionHandlers handlers;
        handlers.record = [&](const ExecutionRecord& record) {
            if (records.value(record.sourcePath) == record)
                return;
            durableAppendLine(journal, lineFor(record));
            records.insert(record.sourcePath, record);
        };
        const SortResult outcome = ResumableSortExecutor::executeSynchronously(plan, true, handlers);
        for (const QString& error : outcome.errors)
            std::fprintf(stderr, "%s\n", error.toUtf8().constData());
        return outcome.errors.isEmpty() && outcome.pendingCount == 0 ? 0 : 1;
    } catch (const ResumableSortError& error) {
        std::fprintf(stderr, "%s\n", error.description().toUtf8().constData());
        return error.kind() == ResumableSortError::Kind::operationAlreadyRunning ? 3 : 4;
    } catch (const KestravaError& error) {
        std::fprintf(stderr, "%s\n", error.description().toUtf8().constData());
        return 4;
    }
}
