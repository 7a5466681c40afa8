#pragma once

// Every word the window chooses between, in one place where tests reach it.
//
// Where words live:
// - A text the command line shows too (decision names, the pair's name "JPEG + RAW", the time
//   left) is in model/Wording.h, once; nothing here repeats its rules.
// - A text only the window shows is here.
// - State-dependent texts are stage properties; fixed labels may stay in QML. The stage that
//   owns the state publishes its text (`ViewModel.execution.timeLeftText`,
//   `ViewModel.review.positionText`, …), so QML binds a property and never chooses a text
//   itself; a choice the screen offers comes as a list of SetupChoice with its words, and the
//   decisions' labels as `ViewModel.review.decisionLabels`, indexed by `Decision`.
// - A fixed label (a heading, a button's caption) may stay in its QML file.
// The definitions are split by concern: WindowWording.cpp (counts, setup, review, failures)
// and ExecutionWording.cpp (confirmation, execution, Trash, completion).

#include "RunScope.h"
#include "model/KestravaError.h"
#include "model/PhotoModel.h"
#include "model/SortOptions.h"
#include "model/Wording.h"
#include "trash/TrashTypes.h"

#include <QList>
#include <QMetaType>
#include <QString>
#include <QStringList>

#include <optional>

namespace kestrava {

// The user's words for a failure carried by a QFuture: a KestravaError's German description,
// otherwise a generic text (only reachable when something outside the error contract throws).
QString failureText(const QException& failure);
QString unknownFailureText();
// "Sitzung konnte nicht gespeichert werden: "
QString sessionNotSavedPrefix();

// One card of the completed screen. `tone` picks its accent: QML indexes its colours by it.
struct ResultCard {
    Q_GADGET
    Q_PROPERTY(QString label MEMBER label)
    Q_PROPERTY(QString value MEMBER value)
    Q_PROPERTY(int tone READ toneIndex)

public:
    enum class Tone { neutral, good, attention, failure };
    QString label;
    QString value;
    Tone tone = Tone::neutral;
    int toneIndex() const { return int(tone); }
    friend bool operator==(const ResultCard&, const ResultCard&) = default;
};

namespace WindowWording {

// ---- Counts ----------------------------------------------------------------------------------
// "1 Datei", "2 Dateien", "0 Dateien".
QString fileCountText(qsizetype count);
// "1 Motiv", "19 Motive": a shot is what one decision covers, a pair or a single file.
QString shotCountText(qsizetype count);
// "12 Motive · 20 Dateien".
QString shotsAndFilesText(qsizetype shots, qsizetype files);
// "3 / 12": the review's position; empty without groups.
QString positionText(int index, int count);
// "<folder>  ·  1,6 MB  ·  2 Dateien": where a group lies, its size when known and its files.
QString groupDetailText(const QString& folder, std::optional<qint64> bytes, qsizetype fileCount);

// ---- Audit list ------------------------------------------------------------------------------
// "Änderung wird gesichert" while a change is journaled, else the session's saved status.
QString auditSaveState(bool committing, const QString& savedStatus);
// Whether any of the file names contains `text`, ignoring case; an empty text (after
// trimming) matches everything.
bool matchesSearch(const QStringList& fileNames, const QString& text);

// ---- Setup -----------------------------------------------------------------------------------
// A review choice can be taken only when its formats are in the folder: both need JPEG and RAW.
bool reviewChoiceAvailable(FormatReviewChoice choice, int jpegCount, int rawCount);
QString reviewChoiceTitle(FormatReviewChoice choice);
QString reviewChoiceDescription(FormatReviewChoice choice);

// ---- Review ----------------------------------------------------------------------------------
// "Behalten" or "Behalten, ausgewählt": what a screen reader says for a decision button.
QString decisionAccessibleLabel(PhotoDecision decision, bool selected);
// "Entscheidung wird gesichert" while journaling, "Nächstes Foto wird geladen" while the
// picture is not on screen yet, else empty.
QString inputGuardText(bool committing, bool previewReady, bool hasGroup);
// "Vorschau wird geladen …" while loading without a picture, "Keine Vorschau verfügbar" when
// every candidate failed, else empty.
QString previewStatusText(bool loading, bool failed, bool hasImage);
// The screen reader's words after a decision: "<label>, <scope>, <count> Dateien. " then
// "Auswahl vollständig. Prüfliste wird geöffnet." when nothing is left undecided, else
// "Nächstes Foto.". " Dateien" stands for every count, 1 included, unlike the overlay's title:
// a screen reader reads it as written.
QString decisionAnnouncement(PhotoDecision decision, const QString& scopeTitle, qsizetype memberCount,
                             bool reviewComplete);

// ---- Confirmation ----------------------------------------------------------------------------
// "Speicherprüfung steht aus" / "Freier Speicher wird geprüft …" / the estimate's own line.
QString storageCheckText(bool hasDestination, bool checking, const QString& estimateMessage);
QString effectText(SortOperationMode mode);
// The run's scope: "60 Motive · 120 Dateien", every file the run copies, moves or stages, the
// carried-along ones included.
QString runScopeTitle(const RunScope& scope);
// One line per decision with its formats ("Behalten: 40 JPEG · 2 andere Dateien"), then the
// files without a decision of their own, the undecided ones and what stays out of the run.
QStringList runScopeLines(const RunScope& scope);

// ---- Trash -----------------------------------------------------------------------------------
QString stagingLead(int rejectedFiles);
QString volumeLine(bool sameVolumeAsSource);
// Where the originals of one volume are, in a photographer's words: "Originale auf der
// Systemfestplatte (intern)", "Originale auf „EOS_DIGITAL“ (Wechseldatenträger)".
QString sourceVolumeLine(const SourceVolumeSummary& volume);
QString manualReviewText(int count);
QString trashSafetyText();
QString trashGuaranteeText();

// ---- Execution -------------------------------------------------------------------------------
// "12,5 MB/s"; empty when nothing was measured yet.
QString transferRateText(double bytesPerSecond);
// "3 / 12": files done of all files of the run.
QString fileProgressText(int completedFiles, int totalFiles);
// "1,2 MB von 40 MB".
QString byteProgressText(qint64 completedBytes, qint64 totalBytes);

// ---- Completion ------------------------------------------------------------------------------
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
QList<ResultCard> resultCards(const ResultCounts& counts, bool trashMode);

} // namespace WindowWording
} // namespace kestrava
