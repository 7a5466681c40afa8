// kestrava-cli sort: the whole review of `review`, then the run the confirmation screen's
// button starts. For the trash mode the run stops after the safety copies are staged (the
// session stays resumable); --confirm-trash gives the second confirmation and commits.

#include "CliCommand.h"
#include "CliWording.h"
#include "ExecutionSupport.h"
#include "ProgressReporter.h"
#include "ReviewFlow.h"
#include "model/Json.h"
#include "platform/DurableFile.h"
#include "session/SessionStore.h"
#include "trash/TrashTypes.h"
#include "workflow/KestravaViewModel.h"

#include <QFileInfo>

namespace {

using namespace kestrava;

constexpr char sortUsage[] =
    "sort DIR --dest BASIS --mode safeCopy|moveOriginals|organizeAndTrash [--verify fileSize|sha256] "
    "[--choice jpeg|raw|both] [--name NAME] [--event NAME] [--no-date-folders] [--store ORDNER] "
    "(--decisions DATEI.csv | --all keep|maybe|delete) [--report DATEI] [--confirm-trash] [--ratings [--keep-stars 1-5]]";

// Created, never replaced: a file that appeared there during the run stays as it is.
bool saveReport(const KestravaViewModel& viewModel, const QString& path)
{
    try {
        atomicCreate(path, viewModel.execution()->reportText().toUtf8(), FileOps::system(), 0666);
        return true;
    } catch (const KestravaError& error) {
        cli::err() << cli::reportNotSaved(error.description()) << "\n";
        return false;
    }
}

int runSort(const QStringList& arguments)
{
    const cli::Arguments args(arguments,
                              cli::reviewValueOptions()
                                  + QStringList{QStringLiteral("--verify"), QStringLiteral("--report"),
                                                QStringLiteral("--keep-stars")},
                              {QStringLiteral("--no-date-folders"), QStringLiteral("--confirm-trash"),
                               QStringLiteral("--ratings")});
    cli::ReviewRequest request;
    if (const auto exit = cli::parseReviewRequest(args, sortUsage, request))
        return *exit;
    // Refused before anything runs: the report never takes the place of an existing file.
    const std::optional<QString> report =
        args.has(QStringLiteral("--report")) ? std::optional(cli::absolutePath(args.value(QStringLiteral("--report"))))
                                             : std::nullopt;
    if (report && QFileInfo::exists(*report))
        return cli::fail(cli::outputExists(*report));
    const bool trashMode = request.mode == SortOperationMode::organizeAndTrash;
    if (args.has(QStringLiteral("--confirm-trash")) && !trashMode)
        return cli::usage(sortUsage);
    // Rating sidecars beside the results; the stars only mean something with them.
    const bool ratings = args.has(QStringLiteral("--ratings"));
    bool starsValid = true;
    const int keepStars = args.has(QStringLiteral("--keep-stars"))
        ? args.value(QStringLiteral("--keep-stars")).toInt(&starsValid)
        : 1;
    if (!starsValid || keepStars < minimumKeepRatingStars || keepStars > maximumKeepRatingStars
        || (args.has(QStringLiteral("--keep-stars")) && !ratings))
        return cli::usage(sortUsage);

    const auto store = cli::openStore(args);
    KestravaViewModel viewModel(cli::headlessServices(*store));
    if (const auto failure = cli::runReviewFlow(viewModel, request))
        return cli::fail(*failure);
    viewModel.setup()->updateRatingSidecars(ratings, keepStars);
    // Naming a mode that takes originals off the card on the command line is its first
    // confirmation, as the tick is in the window.
    if (request.mode != SortOperationMode::safeCopy)
        viewModel.setDestructiveConfirmationAccepted(true);
    if (const auto failure = cli::waitUntilExecutable(viewModel))
        return cli::fail(*failure);

    bool ok = true;
    {
        cli::ProgressReporter progress(viewModel);
        ok = cli::runExecution(viewModel, [&] { viewModel.execution()->applySort(); });
        if (ok && trashMode && args.has(QStringLiteral("--confirm-trash")) && viewModel.trash()->preparedTrash()
            && !viewModel.alertMessage()) {
            viewModel.setTrashCommitConfirmationAccepted(true);
            ok = cli::runExecution(viewModel, [&] { viewModel.trash()->commitPreparedTrash(); });
        }
    }
    if (report && viewModel.execution()->lastSortResult())
        ok = saveReport(viewModel, *report) && ok;

    QJsonObject summary = cli::executionSummary(viewModel);
    summary.insert(QLatin1String("skippedEntryCount"), viewModel.loading()->skippedEntryCount());
    cli::printJson(json::toCompactJson(summary));
    cli::reportMessages(viewModel);
    // Files left out by the scan are still in the source: the run must not pass for complete.
    if (viewModel.loading()->skippedEntryCount() > 0) {
        cli::err() << cli::note(viewModel.loading()->skippedEntriesNoteText()) << "\n";
        cli::err().flush();
        ok = false;
    }
    return ok && cli::runSucceeded(viewModel, args.has(QStringLiteral("--confirm-trash"))) ? cli::success
                                                                                          : cli::failure;
}

const cli::Registration registration{"sort", sortUsage, &runSort};

} // namespace
