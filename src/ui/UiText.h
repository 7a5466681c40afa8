#pragma once

// Every word the screens choose between, in one place where tests reach it. The QML files
// only show what these functions return; they never pick a text themselves. Words the command
// line shows too (decision names, the pair's name, the time left) are in model/Wording.h;
// a text that follows the state is a property of the stage that owns that state; a fixed
// caption may stay in its QML file.

#include "model/PhotoModel.h"
#include "model/Wording.h"
#include "model/SortOptions.h"
#include "workflow/WindowWording.h"

#include <QStringList>
#include <optional>

namespace kestrava::UiText {

// "Behalten" or "Behalten, ausgewählt": what a screen reader says for a decision button.
QString decisionAccessibleLabel(PhotoDecision decision, bool selected);

using WindowWording::fileCountText;
inline QString auditSummary(qsizetype groups, qsizetype files)
{
    return WindowWording::shotsAndFilesText(groups, files);
}
// "Änderung wird gesichert" while a change is journaled, else the view model's saved status.
QString auditSaveState(bool committing, const QString& savedStatus);

// Whether any of the file names contains `text`, ignoring case; an empty text (after
// trimming) matches everything.
bool matchesSearch(const QStringList& fileNames, const QString& text);

// Setup.
// A review choice can be taken only when its formats are in the folder: both need JPEG and RAW.
bool reviewChoiceAvailable(FormatReviewChoice choice, int jpegCount, int rawCount);
QString reviewChoiceTitle(FormatReviewChoice choice);
QString reviewChoiceDescription(FormatReviewChoice choice);
QString operationModeTitle(SortOperationMode mode);
QString operationModeDescription(SortOperationMode mode);
QString verificationTitle(VerificationMode mode);
// "Speicherprüfung steht aus" / "Freier Speicher wird geprüft …" / the estimate's own line.
QString storageCheckText(bool hasDestination, bool checking, const QString& estimateMessage);

// Review.
// "Entscheidung wird gesichert" while journaling, "Nächstes Foto wird geladen" while the
// picture is not on screen yet, else empty.
QString inputGuardText(bool committing, bool previewReady, bool hasGroup);
// "Vorschau wird geladen …" while loading without a picture, "Keine Vorschau verfügbar" when
// every candidate failed, else empty.
QString previewStatusText(bool loading, bool failed, bool hasImage);

// Confirmation and trash.
QString effectText(SortOperationMode mode);
QString stagingLead(int rejectedFiles);
QString volumeLine(bool sameVolumeAsSource);
QString manualReviewText(int count);
QString trashSafetyText();
QString trashGuaranteeText();

// Execution.
// "12,5 MB/s"; empty when nothing was measured yet.
QString transferRateText(double bytesPerSecond);

// "3 / 12": files done of all files of the run.
QString fileProgressText(int completedFiles, int totalFiles);
// "1,2 MB von 40 MB".
QString byteProgressText(qint64 completedBytes, qint64 totalBytes);

// Completion.
// "Keine Ergebnisdaten verfügbar." without a result; a warning headline when files failed or wait.
QString completedHeadline(bool hasResult, int failureCount, int pendingCount);
QString pendingText(int pendingCount);

// The counts of a finished run as the completed screen's cards, in their order. The two trash
// cards appear only where trashing was part of the run (or counted anything).
struct ResultCounts {
    int organized = 0;
    int skipped = 0;
    int pending = 0;
    int trashed = 0;
    int retainedDiscard = 0;
    int errors = 0;
};
enum class CardTone { neutral, good, attention, failure };
struct ResultCard {
    QString label;
    QString value;
    CardTone tone = CardTone::neutral;
};
QList<ResultCard> resultCards(const ResultCounts& counts, bool trashMode);

} // namespace kestrava::UiText
