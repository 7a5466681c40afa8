// Recovering decisions from a recovery CSV into a fresh session for the original folder.

#include "FailureText.h"
#include "KestravaViewModel.h"
#include "RecoveryMatching.h"
#include "model/DestinationPlanner.h"
#include "platform/DurableFile.h"

#include <QtConcurrent>

namespace kestrava {

namespace {

const QString recoveredEventName = QStringLiteral("Wiederhergestellt");

} // namespace

void KestravaViewModel::applyRecovery(const QList<RecoveryCSVRow>& rows, const QList<PhotoItem>& inventory,
                                      const FileUrl& sourceFolder, int skippedEntryCount,
                                      std::optional<FileUrl> proposedDestinationBase)
{
    // Matching throws on an ambiguous row before anything changes: all or nothing.
    const RecoveryMatch match = matchRecoveryRows(rows, inventory);

    QList<PhotoItem> decided = inventory;
    for (PhotoItem& item : decided) {
        const auto found = match.decisions.constFind(item.sourceURL);
        if (found != match.decisions.constEnd())
            item.decision = *found;
    }

    cancelIfRunning(scanTask_);
    setFlag(isLoading_, false, &KestravaViewModel::isLoadingChanged);
    resetTransientState();
    setSourceFolder(sourceFolder);
    if (!destinationBaseFolder_)
        setDestinationBase(proposedDestinationBase.value_or(sourceFolder.parent()));
    setSkippedEntryCount(skippedEntryCount);
    setup_.updateEventName(recoveredEventName);
    setRunFolderNameValue(DestinationPlanner::suggestedRunName(recoveredEventName, now().toLocalTime()));
    createSession();
    prepareScannedPhotos(decided);
    review_.recalculateCounts();
    saveSessionSnapshot();
    setRoute(AppRoute::setup);

    if (match.unmatchedRows == 0)
        setAlert(QString::number(match.matchedRows) + QStringLiteral(" Entscheidungen wurden vollständig wiederhergestellt."));
    else
        setAlert(QStringLiteral("Nicht alle Entscheidungen konnten zugeordnet werden."));
}

} // namespace kestrava
