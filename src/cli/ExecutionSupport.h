#pragma once

// What the executing commands (sort, resume, trash) share: waiting for the view model's
// execution task with Ctrl-C turned into a clean stop, and the JSON they print.

#include <QJsonObject>
#include <QString>
#include <functional>
#include <optional>

namespace kestrava {
class KestravaViewModel;
struct SortResult;
struct TrashPreparation;
}

namespace kestrava::cli {

// Waits for the storage check of the confirmation screen. Returns its German message when the
// storage blocks the run; any other reason not to run is left to the run's own refusal.
std::optional<QString> waitUntilExecutable(KestravaViewModel& viewModel);

// Calls `start` (which should start an execution task of the view model) and runs the event
// loop until that task has ended and the session's snapshot is written. While it runs, SIGINT
// and SIGTERM ask the run to stop before its next file, so the session stays resumable.
// Returns false when `start` started nothing; the view model's alert then says why.
bool runExecution(KestravaViewModel& viewModel, const std::function<void()>& start);

// The SortResult's fields at the top level (when there is a result), `destinationFolder`
// (file: URL or null) and, when a trash transaction exists, `trashPreparation`.
QJsonObject executionSummary(const KestravaViewModel& viewModel);

// A run is a success when nothing failed and nothing is left pending.
bool succeeded(const SortResult& result);
// Every entry is in the Trash (confirmed or already cleaned up).
bool allTrashed(const TrashPreparation& preparation);

// The exit status of a run: no alert, a result that succeeded, and for a trash transaction no
// entry that needs review; after a commit (`committed`) every entry must be in the Trash.
bool runSucceeded(const KestravaViewModel& viewModel, bool committed);

// Writes the alert and every error of the last result to standard error, each once.
void reportMessages(const KestravaViewModel& viewModel);

} // namespace kestrava::cli
