// Recovering decisions from a recovery CSV into a fresh session for the original folder.

#include "WindowWording.h"
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

    loading_.abandonScan();
    resetRun();
    setSourceFolder(sourceFolder);
    if (!destinationBaseFolder_)
        setDestinationBase(proposedDestinationBase.value_or(sourceFolder.parent()));
    setup_.updateEventName(recoveredEventName);
    updateRunFolderName(DestinationPlanner::suggestedRunName(recoveredEventName, core_.services.clock().toLocalTime()));
    openSession();
    loading_.takeInventory(decided, skippedEntryCount);
    review_.recalculateCounts();
    saveSessionSnapshot();
    core_.setRoute(AppRoute::setup);

    if (match.unmatchedRows == 0)
        core_.raiseAlert(QString::number(match.matchedRows) + QStringLiteral(" Entscheidungen wurden vollständig wiederhergestellt."));
    else
        core_.raiseAlert(QStringLiteral("Nicht alle Entscheidungen konnten zugeordnet werden."));
}

} // namespace kestrava
