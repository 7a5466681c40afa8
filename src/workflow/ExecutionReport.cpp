// What a run leaves for the user afterwards: the plain-text report and the ways to look at the
// result on disk.

#include "WindowWording.h"
#include "ExecutionStage.h"
#include "KestravaViewModel.h"
#include "model/Text.h"
#include "platform/DurableFile.h"
#include "session/SessionStore.h"

#include <QFileInfo>

#ifndef KESTRAVA_VERSION
#define KESTRAVA_VERSION "0"
#endif

namespace kestrava {

namespace {

QString lastComponentOrDash(const std::optional<FileUrl>& folder)
{
    if (!folder)
        return QStringLiteral("–");
    const QString name = QFileInfo(folder->path()).fileName();
    return name.isEmpty() ? QStringLiteral("–") : name;
}

} // namespace

QString ExecutionStage::reportText() const
{
    const SortResult result = run_.lastResult.value_or(SortResult{});
    const QString mode = run_.selectedOperationMode ? operationModeTitle(*run_.selectedOperationMode) : QStringLiteral("–");
    QStringList lines{QStringLiteral("Kestrava %1 Bericht").arg(QStringLiteral(KESTRAVA_VERSION)),
                      QStringLiteral("Modus: ") + mode,
                      QStringLiteral("Quelle: ") + lastComponentOrDash(flow_.sourceFolder()),
                      QStringLiteral("Ziel: ") + lastComponentOrDash(run_.destinationFolder),
                      QStringLiteral("Organisiert: %1").arg(result.organizedCount),
                      QStringLiteral("Übersprungen: %1").arg(result.skippedCount),
                      QStringLiteral("Papierkorb: %1").arg(result.trashedCount),
                      QStringLiteral("Ausstehend: %1").arg(result.pendingCount),
                      QStringLiteral("Fehler: %1").arg(result.errors.size())};
    return lines.join(QLatin1Char('\n'));
}

bool ExecutionStage::saveReport(const QString& path)
{
    if (path.isEmpty())
        return false; // the dialog was cancelled
    try {
        // Readable like any file the user saves (the umask decides), not private to the app.
        atomicReplace(path, reportText().toUtf8(), FileOps::system(), 0666);
        return true;
    } catch (const QException& error) {
        core_.raiseAlert(QStringLiteral("Der Bericht konnte nicht gespeichert werden: ") + failureText(error));
        return false;
    }
}

void ExecutionStage::openResultInFileManager()
{
    if (run_.destinationFolder && core_.services.desktop)
        core_.services.desktop->reveal(*run_.destinationFolder);
}

void ExecutionStage::showExecutionLog()
{
    if (!session_ || !core_.services.sessionStore || !core_.services.desktop)
        return;
    const QString log = core_.services.sessionStore->executionLogPath(session_->id);
    if (QFileInfo::exists(log))
        core_.services.desktop->open(FileUrl::fromLocalPath(log));
    else
        core_.raiseAlert(QStringLiteral("Für diese Sitzung gibt es noch kein Protokoll."));
}

} // namespace kestrava
