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

struct RecoveryInput {
    QList<RecoveryCSVRow> rows;
    FolderScan scanned;
};

} // namespace

void KestravaViewModel::importRecoveryCsv(const QString& csvPath, const QString& folderPath)
{
    if (csvPath.isEmpty() || folderPath.isEmpty())
        return;
    const FileUrl folder = FileUrl::fromLocalPath(folderPath);
    // Parsing first: a broken list fails before the folder is read at all.
    QtConcurrent::run([csvPath, folder, services = services_] {
        RecoveryInput input;
        input.rows = RecoveryCSVImporter::parse(readWholeFile(csvPath));
        input.scanned = scanFolder(services, folder);
        return input;
    })
        .then(this,
              [this, folder](const RecoveryInput& input) {
                  try {
                      applyRecovery(input.rows, input.scanned.outcome.items, folder,
                                    input.scanned.outcome.skippedEntryCount(), input.scanned.proposedDestinationBase);
                  } catch (const QException& error) {
                      setAlert(failureText(error));
                  }
              })
        .onFailed(this, [this](const QException& error) { setAlert(failureText(error)); })
        .onFailed(this, [this] { setAlert(QStringLiteral("Die CSV-Datei konnte nicht importiert werden: Unbekannter Fehler.")); });
}

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
    updateEventName(recoveredEventName);
    setRunFolderNameValue(DestinationPlanner::suggestedRunName(recoveredEventName, now().toLocalTime()));
    createSession();
    prepareScannedPhotos(decided);
    recalculateCounts();
    saveSessionSnapshot();
    setRoute(AppRoute::setup);

    if (match.unmatchedRows == 0)
        setAlert(QString::number(match.matchedRows) + QStringLiteral(" Entscheidungen wurden vollständig wiederhergestellt."));
    else
        setAlert(QStringLiteral("Nicht alle Entscheidungen konnten zugeordnet werden."));
}

} // namespace kestrava
