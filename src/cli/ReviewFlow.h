#pragma once

// The headless review shared by `review` and `sort`: options, folder scan, setup, one decision
// per group (from a recovery list or one decision for all) and the way to the confirmation
// screen, driven through the view model exactly as the screens drive it.

#include "CliCommand.h"
#include "model/SortOptions.h"
#include "session/RecoveryCsv.h"
#include "workflow/KestravaViewModel.h"

#include <functional>
#include <memory>
#include <optional>

namespace kestrava {
class SessionStore;
}

namespace kestrava::cli {

// Options every review-driven command takes; a command adds its own to these.
QStringList reviewValueOptions();

struct ReviewRequest {
    QString folder;          // absolute
    QString destinationBase; // absolute
    SortOperationMode mode = SortOperationMode::safeCopy;
    std::optional<FormatReviewChoice> choice;
    std::optional<QString> runFolderName;
    QString eventName;
    std::optional<VerificationMode> verification;
    bool groupByDate = true;
    std::optional<PhotoDecision> all;
    QList<RecoveryCSVRow> rows;
};

// Reads the review options of `args` into `request`. Returns the exit code to end with (usage
// error, or failure for an unreadable list) or nothing when the request is complete.
// `--verify` and `--no-date-folders` are read only when the command declared them.
std::optional<int> parseReviewRequest(const Arguments& args, const char* usageText, ReviewRequest& request);

QString absolutePath(const QString& path);

// The store of `--store`, or the default one.
std::unique_ptr<SessionStore> openStore(const Arguments& args);

// Services for a view model nobody looks at: the overlay and completion delays are zero.
WorkflowServices headlessServices(SessionStore& store);

// Runs the event loop until `done` holds (true) or the view model raised an alert (false).
bool runUntil(const KestravaViewModel& viewModel, const std::function<bool()>& done);

// Loads, sets up, decides every group and waits for the confirmation screen with the session
// saved. Entries the scan left out, and a destination base inside the source, are named on
// standard error first. Each acknowledged decision is reported on standard error
// ("entschieden N GRUPPE").
// Returns the German failure message, or nothing on success.
std::optional<QString> runReviewFlow(KestravaViewModel& viewModel, const ReviewRequest& request);

} // namespace kestrava::cli
