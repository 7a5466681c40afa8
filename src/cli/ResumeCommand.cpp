// kestrava-cli resume: continues the latest incomplete session's run where it stopped. Files
// an earlier run finished are validated and skipped; the lock of a run that died is taken over.

#include "CliCommand.h"
#include "CliWording.h"
#include "ExecutionSupport.h"
#include "ProgressReporter.h"
#include "ReviewFlow.h"
#include "model/Json.h"
#include "session/SessionStore.h"

#include <QCoreApplication>

namespace {

using namespace kestrava;

constexpr char resumeUsage[] = "resume [--store ORDNER]";

int runResume(const QStringList& arguments)
{
    const cli::Arguments args(arguments, {QStringLiteral("--store")});
    if (!args.ok() || !args.positional().isEmpty())
        return cli::usage(resumeUsage);

    const auto store = cli::openStore(args);
    std::optional<SortSession> session;
    try {
        session = store->loadLatestIncomplete().result();
    } catch (const KestravaError& error) {
        return cli::fail(error.description());
    }
    if (!session)
        return cli::fail(cli::noInterruptedSession());

    // A sort stopped while its decisions were still being recorded never reached its run:
    // nothing was copied or moved, and only a new sort knows the decisions it was given.
    if ((session->status == SortSessionStatus::reviewing || session->status == SortSessionStatus::ready)
        && session->executionRecords.isEmpty())
        return cli::fail(cli::interruptedBeforeSorting());

    KestravaViewModel viewModel(cli::headlessServices(*store));
    // Refused while another window or run writes the session.
    if (!viewModel.apply(*session))
        return cli::fail(viewModel.alertText());
    // A staged trash transaction is reloaded from its journal first; its failure is the alert.
    if (!cli::runUntil(viewModel, [&] { return viewModel.execution()->executionTask().isFinished(); }))
        return cli::fail(viewModel.alertText());
    // Staged safety copies wait for the second confirmation, not for another run.
    if (const auto& preparation = viewModel.trash()->preparedTrash(); preparation && !preparation->entries.isEmpty()) {
        cli::printJson(json::toCompactJson(cli::executionSummary(viewModel)));
        cli::reportMessages(viewModel);
        cli::err() << cli::safetyCopiesPrepared() << "\n";
        cli::err().flush();
        return preparation->needsReviewCount() == 0 ? cli::success : cli::failure;
    }
    // A mode that takes originals away was confirmed when this run was started.
    if (session->operationMode != SortOperationMode::safeCopy)
        viewModel.setDestructiveConfirmationAccepted(true);
    if (const auto failure = cli::waitUntilExecutable(viewModel))
        return cli::fail(*failure);

    bool ok = true;
    {
        cli::ProgressReporter progress(viewModel);
        ok = cli::runExecution(viewModel, [&] { viewModel.execution()->retryPendingSort(); });
    }
    cli::printJson(json::toCompactJson(cli::executionSummary(viewModel)));
    cli::reportMessages(viewModel);
    return ok && cli::runSucceeded(viewModel, false) ? cli::success : cli::failure;
}

const cli::Registration registration{"resume", resumeUsage, &runResume};

} // namespace
