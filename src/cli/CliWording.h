#pragma once

// Every text kestrava-cli prints for a person, in German, assembled in one place. Messages
// that come with a typed error (its description()) or from the view model (alerts, notes) are
// passed on unchanged; only the CLI's own words around them are made here.

#include "execution/SortProgress.h"

#include <QString>
#include <optional>

namespace kestrava::cli {

// "Aufruf: kestrava-cli <usage>".
QString usageLine(const QString& usageText);
// The heading of the command list printed for no or an unknown command, and one line of it.
QString commandListHeading();
QString commandListEntry(const QString& usageText);
// "Hinweis: …": a note said before or after a run that does not fail it.
QString note(const QString& text);
// "entschieden N GRUPPE": the acknowledgement of the Nth decision, once it is durable.
QString decisionAcknowledged(int count, const QString& groupID);
// Said when SIGINT or SIGTERM arrives during a run.
QString stopRequested();
QString noPreviewPossible(const QString& fileName);
// An output file the user named is never overwritten.
QString outputExists(const QString& path);
QString outputNotWritten(const QString& path, const QString& reason);
QString reportNotSaved(const QString& errorDescription);
QString noInterruptedSession();
QString interruptedBeforeSorting();
// After a resume that staged the safety copies: how to go on.
QString safetyCopiesPrepared();
QString noPreparedTrashTransaction();
// A decision list that leaves the group of `fileName` open.
QString noDecisionListed(const QString& fileName);

// "12/300 Dateien · 1,5 MB von 45 MB · 3,4 MB/s · noch 0:12": the figures of one report.
// The rate and the time left are left out while nothing has been measured, and the time left
// once the run has ended (a failed file's bytes never arrive).
QString describeProgress(const SortProgress& progress);
// The heading of a report: the phase's German label, except that a run which ended without
// finishing everything (`result` failed, stopped or left files pending) never claims "Fertig".
QString phaseHeading(const SortProgress& progress, const SortResult* result);
// "[#########---------------]": done bytes (files while the bytes are unknown) of the total.
QString progressBar(const SortProgress& progress);
// Seconds until `progress` is done at its current rate, or nothing without a rate.
std::optional<qint64> secondsLeft(const SortProgress& progress);
// "0:07", "12:30", "1:02:03".
QString formatDuration(qint64 seconds);

} // namespace kestrava::cli
