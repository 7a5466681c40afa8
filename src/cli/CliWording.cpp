#include "CliWording.h"

#include "model/Text.h"

#include <algorithm>
#include <cmath>

namespace kestrava::cli {

namespace {

constexpr int barWidth = 24;

} // namespace

QString usageLine(const QString& usageText)
{
    return QStringLiteral("Aufruf: kestrava-cli ") + usageText;
}

QString commandListHeading()
{
    return QStringLiteral("Aufruf: kestrava-cli <Befehl> [Argumente]\n\nBefehle:");
}

QString commandListEntry(const QString& usageText)
{
    return QStringLiteral("  kestrava-cli ") + usageText;
}

QString note(const QString& text)
{
    return QStringLiteral("Hinweis: ") + text;
}

QString decisionAcknowledged(int count, const QString& groupID)
{
    return QStringLiteral("entschieden %1 %2").arg(count).arg(groupID);
}

QString stopRequested()
{
    return QStringLiteral("Abbruch angefordert – der Lauf hält vor der nächsten Datei an.");
}

QString noPreviewPossible(const QString& fileName)
{
    return QStringLiteral("Für „%1“ kann keine Vorschau erzeugt werden.").arg(fileName);
}

QString outputExists(const QString& path)
{
    return QStringLiteral("„%1“ existiert bereits und wird nicht überschrieben.").arg(path);
}

QString outputNotWritten(const QString& path, const QString& reason)
{
    return QStringLiteral("„%1“ konnte nicht geschrieben werden: %2").arg(path, reason);
}

QString reportNotSaved(const QString& errorDescription)
{
    return QStringLiteral("Der Bericht konnte nicht gespeichert werden: ") + errorDescription;
}

QString noInterruptedSession()
{
    return QStringLiteral("Es gibt keine unterbrochene Sitzung, die fortgesetzt werden kann.");
}

QString interruptedBeforeSorting()
{
    return QStringLiteral("Die letzte Sitzung wurde vor dem Start der Sortierung unterbrochen; es wurde nichts kopiert "
                          "oder verschoben. Starte die Sortierung erneut.");
}

QString safetyCopiesPrepared()
{
    return QStringLiteral("Die Sicherheitsablage ist vorbereitet: weiter mit „kestrava-cli trash commit“ oder "
                          "„kestrava-cli trash defer“.");
}

QString noPreparedTrashTransaction()
{
    return QStringLiteral("Es gibt keinen vorbereiteten Papierkorb-Vorgang.");
}

QString noDecisionListed(const QString& fileName)
{
    return QStringLiteral("Für „%1“ enthält die Liste keine Entscheidung.").arg(fileName);
}

QString phaseHeading(const SortProgress& progress, const SortResult* result)
{
    if (progress.phase != SortPhase::finished || !result)
        return rawValue(progress.phase);
    if (result->cancelled || result->pendingCount > 0)
        return QStringLiteral("Angehalten");
    const bool failed = !result->errors.isEmpty()
        || std::any_of(result->records.begin(), result->records.end(), [](const ExecutionRecord& record) {
               return record.status == ExecutionActionStatus::failed;
           });
    return failed ? QStringLiteral("Mit Fehlern beendet") : rawValue(progress.phase);
}

QString progressBar(const SortProgress& progress)
{
    const double fraction = progress.totalBytes > 0 ? double(progress.completedBytes) / double(progress.totalBytes)
                            : progress.totalFiles > 0 ? double(progress.completedFiles) / double(progress.totalFiles)
                                                      : 0.0;
    const int filled = std::clamp(int(std::lround(fraction * barWidth)), 0, barWidth);
    return QLatin1Char('[') + QString(filled, QLatin1Char('#')) + QString(barWidth - filled, QLatin1Char('-'))
           + QLatin1Char(']');
}

std::optional<qint64> secondsLeft(const SortProgress& progress)
{
    if (progress.bytesPerSecond <= 0 || progress.totalBytes <= 0)
        return std::nullopt;
    const qint64 remaining = std::max<qint64>(0, progress.totalBytes - progress.completedBytes);
    return qint64(std::ceil(double(remaining) / progress.bytesPerSecond));
}

QString formatDuration(qint64 seconds)
{
    const qint64 hours = seconds / 3600;
    const qint64 minutes = seconds / 60 % 60;
    const QString secondsText = QStringLiteral("%1").arg(seconds % 60, 2, 10, QLatin1Char('0'));
    if (hours > 0)
        return QStringLiteral("%1:%2:%3").arg(hours).arg(minutes, 2, 10, QLatin1Char('0')).arg(secondsText);
    return QStringLiteral("%1:%2").arg(minutes).arg(secondsText);
}

QString describeProgress(const SortProgress& progress)
{
    QStringList parts;
    parts << QStringLiteral("%1/%2 Dateien").arg(progress.completedFiles).arg(progress.totalFiles);
    parts << QStringLiteral("%1 von %2").arg(text::formatByteCount(progress.completedBytes),
                                              text::formatByteCount(progress.totalBytes));
    if (progress.bytesPerSecond > 0)
        parts << text::formatByteCount(qint64(progress.bytesPerSecond)) + QStringLiteral("/s");
    const bool running = progress.phase != SortPhase::finished;
    if (const auto left = secondsLeft(progress); running && left && progress.completedBytes < progress.totalBytes)
        parts << QStringLiteral("noch ") + formatDuration(*left);
    return parts.join(QStringLiteral(" · "));
}

} // namespace kestrava::cli
