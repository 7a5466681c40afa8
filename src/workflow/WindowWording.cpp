// Counts, setup, review and failures; the run's words are in ExecutionWording.cpp.

#include "WindowWording.h"
#include "model/Text.h"


namespace kestrava {

using namespace Qt::StringLiterals;

QString failureText(const QException& failure)
{
    if (const auto* error = dynamic_cast<const KestravaError*>(&failure))
        return error->description();
    return unknownFailureText();
}

QString sessionNotSavedPrefix()
{
    return QStringLiteral("Sitzung konnte nicht gespeichert werden: ");
}

QString unknownFailureText()
{
    return QStringLiteral("Unbekannter Fehler.");
}

namespace WindowWording {

QString fileCountText(qsizetype count)
{
    return count == 1 ? u"1 Datei"_s : QString::number(count) + u" Dateien"_s;
}

QString shotCountText(qsizetype count)
{
    return count == 1 ? u"1 Motiv"_s : QString::number(count) + u" Motive"_s;
}

QString shotsAndFilesText(qsizetype shots, qsizetype files)
{
    return shotCountText(shots) + u" · "_s + fileCountText(files);
}

QString positionText(int index, int count)
{
    return count > 0 ? QString::number(qBound(0, index, count - 1) + 1) + u" / "_s + QString::number(count) : QString();
}

QString groupDetailText(const QString& folder, std::optional<qint64> bytes, qsizetype fileCount)
{
    QString line = folder;
    if (bytes)
        line += u"  ·  "_s + text::formatByteCount(*bytes);
    if (fileCount > 0)
        line += u"  ·  "_s + fileCountText(fileCount);
    return line;
}

QString decisionAnnouncement(PhotoDecision decision, const QString& scopeTitle, qsizetype memberCount,
                             bool reviewComplete)
{
    return decisionLabel(decision) + u", "_s + scopeTitle + u", "_s + QString::number(memberCount) + u" Dateien. "_s
        + (reviewComplete ? u"Auswahl vollständig. Prüfliste wird geöffnet."_s : u"Nächstes Foto."_s);
}

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

} // namespace WindowWording
} // namespace kestrava
