#pragma once

#include "execution/ResumableSortExecutor.h"

#include "TestSupport.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>

#include <gtest/gtest.h>

namespace kestrava::test {

// A photo as the scanner would report it for a file below `root`.
inline PhotoItem photoAt(const QString& root, const QString& relative,
                         std::optional<PhotoDecision> decision = PhotoDecision::keep)
{
    const QFileInfo info(root + QLatin1Char('/') + relative);
    PhotoItem item;
    item.sourceURL = FileUrl::fromLocalPath(info.absoluteFilePath());
    item.relativePath = relative;
    item.formatGroup = formatGroupForFileName(info.fileName());
    item.decision = decision;
    item.fileSize = info.size();
    item.modificationDate = info.lastModified().toUTC();
    item.captureDate = QDateTime(QDate(2024, 3, 1), QTime(10, 0), Qt::UTC);
    return item;
}

inline SortOptions optionsFor(const QString& destination, SortOperationMode mode,
                              VerificationMode verification = VerificationMode::fileSize)
{
    SortOptions options;
    options.destinationRoot = FileUrl::fromLocalPath(destination);
    options.groupByDate = false;
    options.operationMode = mode;
    options.verificationMode = verification;
    return options;
}

// Collects the records the executor hands out, standing in for the session journal.
struct RecordLog {
    QMap<QString, ExecutionRecord> bySource;
    QList<ExecutionRecord> inOrder;

    ResumableSortExecutor::ExecutionHandlers handlers()
    {
        ResumableSortExecutor::ExecutionHandlers result;
        result.record = [this](const ExecutionRecord& record) {
            bySource.insert(record.sourcePath, record);
            inOrder.append(record);
        };
        return result;
    }
    // What persisting the plan journals before the first file.
    void addPending(const SortExecutionPlan& plan)
    {
        for (const PlannedAction& action : plan.actions)
            if (!bySource.contains(action.id))
                bySource.insert(action.id, ExecutionRecord{action.id, action.destinationURL.path(),
                                                           ExecutionActionStatus::pending, 0, std::nullopt});
    }
};

} // namespace kestrava::test
