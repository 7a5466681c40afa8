// The run's words: confirmation, execution, the Trash step and the completed screen.

#include "WindowWording.h"

#include "model/Text.h"

#include <cmath>

namespace kestrava::WindowWording {

using namespace Qt::StringLiterals;

namespace {

// "40 JPEG · 40 RAW · 2 andere Dateien"; formats without files are left out.
QString formatCountsText(const RunScope::FormatCounts& counts)
{
    QStringList parts;
    if (const int jpegs = counts[size_t(PhotoFormatGroup::jpeg)])
        parts.append(QString::number(jpegs) + u" JPEG"_s);
    if (const int raws = counts[size_t(PhotoFormatGroup::raw)])
        parts.append(QString::number(raws) + u" RAW"_s);
    if (const int others = counts[size_t(PhotoFormatGroup::other)])
        parts.append(others == 1 ? u"1 andere Datei"_s : QString::number(others) + u" andere Dateien"_s);
    return parts.join(u" · "_s);
}

} // namespace

QString runScopeTitle(const RunScope& scope)
{
    return shotsAndFilesText(scope.shots, scope.filesInRun());
}

QStringList runScopeLines(const RunScope& scope)
{
    QStringList lines;
    for (const PhotoDecision decision : {PhotoDecision::keep, PhotoDecision::maybe, PhotoDecision::del}) {
        if (scope.reviewedFiles(decision) > 0)
            lines.append(decisionLabel(decision) + u": "_s + formatCountsText(scope.reviewed[size_t(decision)]));
    }
    if (scope.carriedFiles() > 0)
        lines.append(u"Ohne eigene Bewertung: "_s + formatCountsText(scope.carried) + u" – werden automatisch als „"_s
                     + decisionLabel(PhotoDecision::keep) + u"“ einsortiert"_s);
    if (scope.undecided > 0)
        lines.append(u"Noch nicht entschieden: "_s + fileCountText(scope.undecided));
    if (scope.skippedEntries > 0)
        lines.append(u"Nicht Teil der Sortierung: "_s
                     + (scope.skippedEntries == 1 ? u"1 nicht lesbarer Eintrag"_s
                                                  : QString::number(scope.skippedEntries) + u" nicht lesbare Einträge"_s)
                     + u" – bleibt unverändert im Quellordner"_s);
    if (scope.unsupportedFiles > 0) {
        QString line = u"Nicht Teil der Sortierung: "_s
            + (scope.unsupportedFiles == 1 ? u"1 Datei in einem nicht unterstützten Format"_s
                                           : QString::number(scope.unsupportedFiles) + u" Dateien in nicht unterstützten Formaten"_s);
        if (!scope.unsupportedExamples.isEmpty())
            line += (scope.unsupportedFiles == 1 ? u" ("_s : u" (z. B. "_s) + scope.unsupportedExamples.first() + u")"_s;
        lines.append(line);
    }
    return lines;
}

QString storageCheckText(bool hasDestination, bool checking, const QString& estimateMessage)
{
    if (checking)
        return u"Freier Speicher wird geprüft …"_s;
    if (!hasDestination || estimateMessage.isEmpty())
        return u"Speicherprüfung steht aus"_s;
    return estimateMessage;
}

QString effectText(SortOperationMode mode)
{
    return mode == SortOperationMode::safeCopy ? u"Originale bleiben"_s : u"Originale werden verschoben"_s;
}

QString stagingLead(int rejectedFiles)
{
    return QString::number(rejectedFiles)
        + u" aussortierte Dateien werden vollständig kopiert und mit SHA-256 geprüft. Noch nichts landet im Papierkorb."_s;
}

QString volumeLine(bool sameVolumeAsSource)
{
    return sameVolumeAsSource ? u"Gleiches Laufwerk: Schutz vor versehentlichem Löschen, nicht vor Laufwerksdefekt"_s
                              : u"Sicherheitsablage liegt auf einem getrennten Volume"_s;
}

QString sourceVolumeLine(const SourceVolumeSummary& volume)
{
    // The root file system has no label worth showing; its mount point "/" means nothing to
    // a photographer.
    const bool system = volume.name.isEmpty() || volume.name == u"/"_s || volume.id == u"/"_s;
    const QString where = system ? u"der Systemfestplatte"_s : u"„"_s + volume.name + u"“"_s;
    const QString kind = !volume.isLocal      ? u"Netzlaufwerk"_s
                         : volume.isRemovable ? u"Wechseldatenträger"_s
                                              : u"intern"_s;
    return u"Originale auf "_s + where + u" ("_s + kind + u")"_s;
}

QString manualReviewText(int count)
{
    return QString::number(count) + u" Datei(en) benötigen eine manuelle Prüfung. Automatische Aktionen sind gesperrt."_s;
}

QString trashSafetyText()
{
    return u"Unmittelbar vor jeder Aktion werden Original und Sicherheitskopie erneut vollständig geprüft. Kestrava verwendet ausschließlich den System-Papierkorb und niemals eine permanente Löschung als Ersatz."_s;
}

QString trashGuaranteeText()
{
    return u"Keine 100-%-Garantie – aber Kestrava entfernt nie absichtlich die letzte bekannte, vollständig verifizierte logische Kopie."_s;
}

QString transferRateText(double bytesPerSecond)
{
    if (!(bytesPerSecond > 0))
        return {};
    return text::formatByteCount(qint64(std::llround(bytesPerSecond))) + u"/s"_s;
}

QString fileProgressText(int completedFiles, int totalFiles)
{
    return QString::number(completedFiles) + u" / "_s + QString::number(totalFiles);
}

QString byteProgressText(qint64 completedBytes, qint64 totalBytes)
{
    return text::formatByteCount(completedBytes) + u" von "_s + text::formatByteCount(totalBytes);
}

QString completedHeadline(bool hasResult, int failureCount, int pendingCount)
{
    if (!hasResult)
        return u"Keine Ergebnisdaten verfügbar."_s;
    return failureCount > 0 || pendingCount > 0 ? u"Sortierung mit Hinweisen beendet."_s : u"Deine Fotos sind sortiert."_s;
}

QString pendingText(int pendingCount)
{
    return QString::number(pendingCount) + u" Dateien sind ausstehend und können fortgesetzt werden."_s;
}

QList<ResultCard> resultCards(const ResultCounts& counts, bool trashMode)
{
    const auto number = [](int value) { return QString::number(value); };
    QList<ResultCard> cards{
        {u"Organisiert"_s, number(counts.organized), counts.organized > 0 ? ResultCard::Tone::good : ResultCard::Tone::neutral},
        {u"Bereits erledigt"_s, number(counts.skipped), ResultCard::Tone::neutral},
        {u"Ausstehend"_s, number(counts.pending), counts.pending > 0 ? ResultCard::Tone::attention : ResultCard::Tone::neutral},
    };
    if (trashMode || counts.trashed > 0 || counts.retainedDiscard > 0) {
        cards.append({u"Im Papierkorb"_s, number(counts.trashed), ResultCard::Tone::neutral});
        cards.append({u"Aussortiert belassen"_s, number(counts.retainedDiscard),
                      counts.retainedDiscard > 0 ? ResultCard::Tone::attention : ResultCard::Tone::neutral});
    }
    cards.append({u"Fehler"_s, number(counts.errors), counts.errors > 0 ? ResultCard::Tone::failure : ResultCard::Tone::neutral});
    return cards;
}

} // namespace kestrava::WindowWording
