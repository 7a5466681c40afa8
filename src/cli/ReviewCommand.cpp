// kestrava-cli review: a whole review without a screen. The view model is driven exactly as
// the review screen drives it (preview reported visible, then the arrow-key decision), so each
// decision is journaled before the next one is given. One line per acknowledged decision goes
// to standard error, so a caller that kills the process knows what was committed.

#include "CliCommand.h"
#include "model/Json.h"
#include "platform/DurableFile.h"
#include "session/SessionStore.h"
#include "workflow/KestravaViewModel.h"
#include "workflow/RecoveryMatching.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFileInfo>

namespace {

using namespace kestrava;

constexpr char reviewUsage[] =
    "review DIR --dest BASIS --mode safeCopy|moveOriginals|organizeAndTrash [--choice jpeg|raw|both] [--name NAME] "
    "[--event NAME] [--store ORDNER] (--decisions DATEI.csv | --all keep|maybe|delete)";

// Runs the event loop until `done` holds or the view model raised an alert.
bool runUntil(const KestravaViewModel& viewModel, const std::function<bool()>& done)
{
    while (!done()) {
        if (viewModel.alertMessage())
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    }
    return true;
}

QString absolutePath(const QString& path)
{
    return QFileInfo(path).absoluteFilePath();
}

int runReview(const QStringList& arguments)
{
    const cli::Arguments args(arguments,
                              {QStringLiteral("--dest"), QStringLiteral("--mode"), QStringLiteral("--choice"),
                               QStringLiteral("--name"), QStringLiteral("--event"), QStringLiteral("--store"),
                               QStringLiteral("--decisions"), QStringLiteral("--all")});
    const auto mode = enumFromRaw<SortOperationMode>(args.value(QStringLiteral("--mode")));
    const bool hasChoice = args.has(QStringLiteral("--choice"));
    const auto choice = enumFromRaw<FormatReviewChoice>(args.value(QStringLiteral("--choice")));
    const auto all = enumFromRaw<PhotoDecision>(args.value(QStringLiteral("--all")));
    if (!args.ok() || args.positional().size() != 1 || !args.has(QStringLiteral("--dest")) || !mode
        || (hasChoice && !choice) || args.has(QStringLiteral("--decisions")) == args.has(QStringLiteral("--all"))
        || (args.has(QStringLiteral("--all")) && !all))
        return cli::usage(reviewUsage);

    QList<RecoveryCSVRow> rows;
    try {
        if (args.has(QStringLiteral("--decisions")))
            rows = RecoveryCSVImporter::parse(readWholeFile(args.value(QStringLiteral("--decisions"))));
    } catch (const KestravaError& error) {
        return cli::fail(error.description());
    }

    SessionStore store(args.has(QStringLiteral("--store")) ? absolutePath(args.value(QStringLiteral("--store")))
                                                          : SessionStore::defaultDirectory());
    WorkflowServices services;
    services.sessionStore = &store;
    // Nobody watches the overlay, and the confirmation screen may follow at once.
    services.timings = {std::chrono::milliseconds(0), std::chrono::milliseconds(0), std::chrono::milliseconds(0)};
    KestravaViewModel viewModel(services);

    viewModel.updateEventName(args.value(QStringLiteral("--event")));
    viewModel.setDestinationBaseFolder(absolutePath(args.value(QStringLiteral("--dest"))));
    viewModel.load(absolutePath(args.positional().first()));
    if (!runUntil(viewModel, [&] { return !viewModel.isLoading(); }) || viewModel.route() != AppRoute::setup)
        return cli::fail(viewModel.alertText());
    if (choice)
        viewModel.chooseFormatReview(*choice);
    viewModel.selectOperationMode(*mode);
    if (args.has(QStringLiteral("--name")))
        viewModel.updateRunFolderName(args.value(QStringLiteral("--name")));
    viewModel.startReviewing();
    if (viewModel.route() != AppRoute::reviewing)
        return cli::fail(viewModel.alertText());

    // Per file, the decision the list gives it; matched as the recovery import matches.
    QHash<FileUrl, PhotoDecision> listed;
    try {
        if (!all)
            listed = matchRecoveryRows(rows, viewModel.scannedInventory()).decisions;
    } catch (const KestravaError& error) {
        return cli::fail(error.description());
    }

    int committed = 0;
    QObject::connect(&viewModel, &KestravaViewModel::decisionCommitted, [&](const QString& groupID) {
        ++committed;
        cli::err() << "entschieden " << committed << " " << groupID << "\n";
        cli::err().flush();
    });

    const QList<ReviewGroup> groups = viewModel.effectiveReviewGroups();
    for (qsizetype i = 0; i < groups.size(); ++i) {
        const ReviewGroup& group = groups[i];
        std::optional<PhotoDecision> decision = all;
        for (const QString& candidate : viewModel.previewCandidates())
            if (!decision && listed.contains(FileUrl::fromLocalPath(candidate)))
                decision = listed.value(FileUrl::fromLocalPath(candidate));
        if (!decision)
            return cli::fail(QStringLiteral("Für „%1“ enthält die Liste keine Entscheidung.").arg(group.previewURL.fileName()));
        // What the preview loader reports once the picture is on screen.
        viewModel.setPreviewReady(true, group.previewURL.path());
        const int before = committed;
        viewModel.classify(*decision);
        if (!runUntil(viewModel, [&] { return committed > before && !viewModel.isCommittingDecision(); }))
            return cli::fail(viewModel.alertText());
    }
    if (!runUntil(viewModel, [&] { return viewModel.route() == AppRoute::confirmation; }))
        return cli::fail(viewModel.alertText());
    viewModel.flushSessionBeforeTerminationAndWait();
    // Let the snapshot's bookkeeping run so a failure surfaces as the alert.
    QCoreApplication::processEvents();
    if (viewModel.alertMessage())
        return cli::fail(viewModel.alertText());

    QJsonObject counts;
    for (PhotoDecision d : allCases<PhotoDecision>())
        counts.insert(rawValue(d), viewModel.decisionCount(d));
    QJsonObject result;
    result.insert(QLatin1String("sessionID"), json::encodeUuid(viewModel.session()->id));
    result.insert(QLatin1String("route"), viewModel.routeName());
    result.insert(QLatin1String("counts"), counts);
    result.insert(QLatin1String("destinationFolder"), viewModel.destinationFolder()->toUrlString());
    cli::printJson(json::toCompactJson(result));
    return cli::success;
}

const cli::Registration registration{"review", reviewUsage, &runReview};

} // namespace
