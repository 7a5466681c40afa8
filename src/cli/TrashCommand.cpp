// kestrava-cli trash commit|defer: the second step of a staged trash transaction, as the trash
// confirmation screen offers it. `commit` stands for the ticked second confirmation; `defer`
// parks the transaction ("Später entscheiden") with originals and safety copies in place.

#include "CliCommand.h"
#include "CliWording.h"
#include "ExecutionSupport.h"
#include "ProgressReporter.h"
#include "ReviewFlow.h"
#include "model/Json.h"
#include "session/SessionStore.h"
#include "trash/TrashJson.h"

#include <QDir>

namespace {

using namespace kestrava;

constexpr char trashUsage[] = "trash commit|defer [--store ORDNER]";

// An entry is done once its safety copy is gone; a file confirmed in the Trash still has a
// copy to clean up, which a killed commit may have left.
bool isOpen(const TrashEntry& entry)
{
    return entry.state != TrashTransactionState::stageCleaned;
}

// The session with the latest change whose trash transaction still has an entry outside the
// Trash. Sessions that cannot be read are passed over, as the resume offer passes them over.
std::optional<SortSession> latestWithOpenTransaction(SessionStore& store)
{
    std::optional<SortSession> latest;
    const QStringList snapshots =
        QDir(store.baseDirectory()).entryList({QStringLiteral("*.session.json")}, QDir::Files, QDir::Name);
    for (const QString& name : snapshots) {
        const QUuid id(name.left(name.indexOf(QLatin1Char('.'))));
        if (id.isNull())
            continue;
        try {
            SortSession session = store.loadSession(id).result();
            if (!session.trashPreparation)
                continue;
            const auto& entries = session.trashPreparation->entries;
            if (std::none_of(entries.begin(), entries.end(), isOpen))
                continue;
            if (!latest || session.updatedAt > latest->updatedAt)
                latest = std::move(session);
        } catch (const QException&) {
        }
    }
    return latest;
}

int runTrash(const QStringList& arguments)
{
    const cli::Arguments args(arguments, {QStringLiteral("--store")});
    const QString action = args.positional().value(0);
    if (!args.ok() || args.positional().size() != 1
        || (action != QLatin1String("commit") && action != QLatin1String("defer")))
        return cli::usage(trashUsage);

    const auto store = cli::openStore(args);
    const std::optional<SortSession> session = latestWithOpenTransaction(*store);
    if (!session)
        return cli::fail(cli::noPreparedTrashTransaction());

    KestravaViewModel viewModel(cli::headlessServices(*store));
    // Refused while another window or run writes the session.
    if (!viewModel.apply(*session))
        return cli::fail(viewModel.alertText());
    // The view model reloads the transaction from its journal; a damaged journal stops here.
    if (!cli::runUntil(viewModel, [&] { return viewModel.execution()->executionTask().isFinished(); }))
        return cli::fail(viewModel.alertText());

    // Deferring parks the transaction and leaves the view model on its start screen without
    // it, so the last state it published is what this command reports.
    std::optional<TrashPreparation> preparation = viewModel.trash()->preparedTrash();
    QObject::connect(viewModel.trash(), &TrashStage::trashPreparationChanged, [&] {
        if (viewModel.trash()->preparedTrash())
            preparation = viewModel.trash()->preparedTrash();
    });

    // A commit that ended before its session was saved is complete in the journal: nothing
    // is left to do but to record that.
    if (preparation && std::none_of(preparation->entries.begin(), preparation->entries.end(), isOpen)) {
        viewModel.flushSessionBeforeTerminationAndWait();
        cli::printJson(json::toCompactJson(toJson(*preparation)));
        return cli::success;
    }

    bool ok = true;
    {
        cli::ProgressReporter progress(viewModel);
        if (action == QLatin1String("commit")) {
            viewModel.setTrashCommitConfirmationAccepted(true);
            ok = cli::runExecution(viewModel, [&] { viewModel.trash()->commitPreparedTrash(); });
        } else {
            ok = cli::runExecution(viewModel, [&] { viewModel.trash()->deferPreparedTrash(); });
        }
    }
    cli::printJson(preparation ? json::toCompactJson(toJson(*preparation)) : QByteArray("null"));
    cli::reportMessages(viewModel);
    if (!ok || viewModel.alertMessage() || !preparation)
        return cli::failure;
    if (action == QLatin1String("commit"))
        return cli::allTrashed(*preparation) ? cli::success : cli::failure;
    return preparation->needsReviewCount() == 0 ? cli::success : cli::failure;
}

const cli::Registration registration{"trash", trashUsage, &runTrash};

} // namespace
