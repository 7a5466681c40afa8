// The execution stage's values in the words the screens show: progress, result and the
// confirmation's lines. Each reads the run's typed state; none keeps a copy.

#include "ExecutionStage.h"
#include "KestravaViewModel.h"
#include "model/EnumNames.h"

namespace kestrava {

namespace {

const QString unknown = QStringLiteral("–");

} // namespace

double ExecutionStage::progressFraction() const
{
    if (!run_.sortProgress)
        return 0;
    const SortProgress& p = *run_.sortProgress;
    if (p.totalBytes > 0)
        return qBound(0.0, double(p.completedBytes) / double(p.totalBytes), 1.0);
    return p.totalFiles > 0 ? qBound(0.0, double(p.completedFiles) / double(p.totalFiles), 1.0) : 0.0;
}

QString ExecutionStage::phaseText() const
{
    return run_.sortProgress ? rawValue(run_.sortProgress->phase) : QString();
}

QString ExecutionStage::phaseProgressText() const
{
    return run_.sortProgress ? phaseText() + QStringLiteral(" · ") + fileProgressText() : QString();
}

QString ExecutionStage::fileProgressText() const
{
    if (!run_.sortProgress)
        return unknown;
    return WindowWording::fileProgressText(run_.sortProgress->completedFiles, run_.sortProgress->totalFiles);
}

QString ExecutionStage::byteProgressText() const
{
    if (!run_.sortProgress)
        return unknown;
    return WindowWording::byteProgressText(run_.sortProgress->completedBytes, run_.sortProgress->totalBytes);
}

QString ExecutionStage::transferRateText() const
{
    const QString rate = run_.sortProgress ? WindowWording::transferRateText(run_.sortProgress->bytesPerSecond) : QString();
    return rate.isEmpty() ? unknown : rate;
}

QString ExecutionStage::timeLeftText() const
{
    if (!run_.sortProgress)
        return unknown;
    const SortProgress& p = *run_.sortProgress;
    const QString left = Wording::timeLeftText(p.totalBytes - p.completedBytes, p.bytesPerSecond);
    return left.isEmpty() ? unknown : left;
}

QString ExecutionStage::currentFileName() const
{
    return run_.sortProgress ? run_.sortProgress->currentFilename : QString();
}

int ExecutionStage::pendingCount() const
{
    return run_.lastResult ? run_.lastResult->pendingCount : 0;
}

QString ExecutionStage::completedHeadline() const
{
    return WindowWording::completedHeadline(hasResult(), run_.lastResult ? int(run_.lastResult->errors.size()) : 0,
                                            pendingCount());
}

QString ExecutionStage::pendingText() const
{
    return WindowWording::pendingText(pendingCount());
}

QList<ResultCard> ExecutionStage::resultCards() const
{
    if (!run_.lastResult)
        return {};
    const SortResult& r = *run_.lastResult;
    WindowWording::ResultCounts counts;
    counts.organized = r.organizedCount;
    counts.skipped = r.skippedCount;
    counts.pending = r.pendingCount;
    counts.trashed = r.trashedCount;
    counts.retainedDiscard = r.retainedDiscardCount;
    counts.errors = int(r.errors.size());
    return WindowWording::resultCards(counts, run_.selectedOperationMode == SortOperationMode::organizeAndTrash);
}

QString ExecutionStage::storageCheckText() const
{
    return WindowWording::storageCheckText(flow_.destinationBaseFolder().has_value(), run_.isCheckingStorage,
                                           run_.storageEstimate ? run_.storageEstimate->message : QString());
}

QString ExecutionStage::modeTitle() const
{
    return run_.selectedOperationMode ? operationModeTitle(*run_.selectedOperationMode) : QString();
}

QString ExecutionStage::modeDescription() const
{
    return run_.selectedOperationMode ? operationModeDescription(*run_.selectedOperationMode) : QString();
}

QString ExecutionStage::effectText() const
{
    return WindowWording::effectText(run_.selectedOperationMode.value_or(SortOperationMode::safeCopy));
}

} // namespace kestrava
