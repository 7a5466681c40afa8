#include "UiText.h"

#include "model/Text.h"

#include <cmath>

namespace kestrava::UiText {

using namespace Qt::StringLiterals;

QString decisionAccessibleLabel(PhotoDecision decision, bool selected)
{
    return selected ? decisionLabel(decision) + u", ausgewählt"_s : decisionLabel(decision);
}

QString auditSaveState(bool committing, const QString& savedStatus)
{
    return committing ? u"Änderung wird gesichert"_s : savedStatus;
}

bool matchesSearch(const QStringList& fileNames, const QString& text)
{
    const QString needle = text.trimmed();
    if (needle.isEmpty())
        return true;
    for (const QString& name : fileNames)
        if (name.contains(needle, Qt::CaseInsensitive))
            return true;
    return false;
}

bool reviewChoiceAvailable(FormatReviewChoice choice, int jpegCount, int rawCount)
{
    switch (choice) {
    case FormatReviewChoice::both: return jpegCount > 0 && rawCount > 0;
    case FormatReviewChoice::jpeg: return jpegCount > 0;
    case FormatReviewChoice::raw: return rawCount > 0;
    }
    return false;
}

QString reviewChoiceTitle(FormatReviewChoice choice)
{
    switch (choice) {
    case FormatReviewChoice::both: return u"JPEG + RAW gemeinsam"_s;
    case FormatReviewChoice::jpeg: return u"Nur JPEG bewerten"_s;
    case FormatReviewChoice::raw: return u"Nur RAW bewerten"_s;
    }
    return {};
}

QString reviewChoiceDescription(FormatReviewChoice choice)
{
    switch (choice) {
    case FormatReviewChoice::both:
        return u"Jedes eindeutige Motiv wird nur einmal gezeigt. Die Entscheidung gilt für JPEG und RAW."_s;
    case FormatReviewChoice::jpeg:
        return u"JPEGs werden bewertet. RAW-Dateien werden automatisch als Behalten einsortiert."_s;
    case FormatReviewChoice::raw:
        return u"RAW-Dateien werden bewertet. JPEGs werden automatisch als Behalten einsortiert."_s;
    }
    return {};
}

// The mode and verification texts are the model's; the screens reach them through here.
QString operationModeTitle(SortOperationMode mode)
{
    return kestrava::operationModeTitle(mode);
}

QString operationModeDescription(SortOperationMode mode)
{
    return kestrava::operationModeDescription(mode);
}

QString verificationTitle(VerificationMode mode)
{
    return kestrava::verificationModeLabel(mode);
}

QString storageCheckText(bool hasDestination, bool checking, const QString& estimateMessage)
{
    if (checking)
        return u"Freier Speicher wird geprüft …"_s;
    if (!hasDestination || estimateMessage.isEmpty())
        return u"Speicherprüfung steht aus"_s;
    return estimateMessage;
}

QString inputGuardText(bool committing, bool previewReady, bool hasGroup)
{
    if (committing)
        return u"Entscheidung wird gesichert"_s;
    if (hasGroup && !previewReady)
        return u"Nächstes Foto wird geladen"_s;
    return {};
}

QString previewStatusText(bool loading, bool failed, bool hasImage)
{
    if (hasImage)
        return {};
    if (failed)
        return u"Keine Vorschau verfügbar"_s;
    if (loading)
        return u"Vorschau wird geladen …"_s;
    return {};
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
        {u"Organisiert"_s, number(counts.organized), counts.organized > 0 ? CardTone::good : CardTone::neutral},
        {u"Bereits erledigt"_s, number(counts.skipped), CardTone::neutral},
        {u"Ausstehend"_s, number(counts.pending), counts.pending > 0 ? CardTone::attention : CardTone::neutral},
    };
    if (trashMode || counts.trashed > 0 || counts.retainedDiscard > 0) {
        cards.append({u"Im Papierkorb"_s, number(counts.trashed), CardTone::neutral});
        cards.append({u"Aussortiert belassen"_s, number(counts.retainedDiscard),
                      counts.retainedDiscard > 0 ? CardTone::attention : CardTone::neutral});
    }
    cards.append({u"Fehler"_s, number(counts.errors), counts.errors > 0 ? CardTone::failure : CardTone::neutral});
    return cards;
}

} // namespace kestrava::UiText
