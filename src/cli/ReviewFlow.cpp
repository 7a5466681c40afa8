// The review screen's work without a screen. The view model is driven exactly as the review
// screen drives it (preview reported visible, then the arrow-key decision), so each decision
// is journaled before the next one is given. One line per acknowledged decision goes to
// standard error, so a caller that kills the process knows what was committed.

#include "ReviewFlow.h"

#include "CliWording.h"

#include "platform/DurableFile.h"
#include "scanning/MetadataPipeline.h"
#include "session/SessionStore.h"
#include "workflow/RecoveryMatching.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QScopeGuard>

namespace kestrava::cli {

QStringList reviewValueOptions()
{
    return {QStringLiteral("--dest"), QStringLiteral("--mode"),  QStringLiteral("--choice"),
            QStringLiteral("--name"), QStringLiteral("--event"), QStringLiteral("--store"),
            QStringLiteral("--decisions"), QStringLiteral("--all")};
}

std::optional<int> parseReviewRequest(const Arguments& args, const char* usageText, ReviewRequest& request)
{
    const auto mode = enumFromRaw<SortOperationMode>(args.value(QStringLiteral("--mode")));
    const bool hasChoice = args.has(QStringLiteral("--choice"));
    const auto choice = enumFromRaw<FormatReviewChoice>(args.value(QStringLiteral("--choice")));
    const bool hasVerify = args.has(QStringLiteral("--verify"));
    const auto verification = enumFromRaw<VerificationMode>(args.value(QStringLiteral("--verify")));
    const auto all = enumFromRaw<PhotoDecision>(args.value(QStringLiteral("--all")));
    if (!args.ok() || args.positional().size() != 1 || !args.has(QStringLiteral("--dest")) || !mode
        || (hasChoice && !choice) || (hasVerify && !verification)
        || args.has(QStringLiteral("--decisions")) == args.has(QStringLiteral("--all"))
        || (args.has(QStringLiteral("--all")) && !all))
        return usage(usageText);

    request.folder = absolutePath(args.positional().first());
    request.destinationBase = absolutePath(args.value(QStringLiteral("--dest")));
    request.mode = *mode;
    request.choice = choice;
    if (args.has(QStringLiteral("--name")))
        request.runFolderName = args.value(QStringLiteral("--name"));
    request.eventName = args.value(QStringLiteral("--event"));
    request.verification = verification;
    request.groupByDate = !args.has(QStringLiteral("--no-date-folders"));
    request.all = all;
    try {
        if (args.has(QStringLiteral("--decisions")))
            request.rows = RecoveryCSVImporter::parse(readWholeFile(args.value(QStringLiteral("--decisions"))));
    } catch (const KestravaError& error) {
        return fail(error.description());
    }
    return std::nullopt;
}

QString absolutePath(const QString& path)
{
    return QFileInfo(path).absoluteFilePath();
}

std::unique_ptr<SessionStore> openStore(const Arguments& args)
{
    return std::make_unique<SessionStore>(args.has(QStringLiteral("--store"))
                                              ? absolutePath(args.value(QStringLiteral("--store")))
                                              : SessionStore::defaultDirectory());
}

namespace {

// The capture dates the window reads too: a run from the command line files into the same
// date folders.
class PipelineDates final : public MetadataEnriching {
public:
    QFuture<QList<PhotoItem>> enrich(QList<PhotoItem> photos) override
    {
        return MetadataPipeline::shared().enrich(std::move(photos));
    }
};

} // namespace

WorkflowServices headlessServices(SessionStore& store)
{
    WorkflowServices services;
    services.sessionStore = &store;
    services.metadata = std::make_shared<PipelineDates>();
    // Nobody watches the overlay, and the confirmation screen may follow at once.
    services.timings = {std::chrono::milliseconds(0), std::chrono::milliseconds(0), std::chrono::milliseconds(0)};
    return services;
}

bool runUntil(const KestravaViewModel& viewModel, const std::function<bool()>& done)
{
    while (!done()) {
        if (viewModel.alertMessage())
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    }
    return true;
}

std::optional<QString> runReviewFlow(KestravaViewModel& viewModel, const ReviewRequest& request)
{
    viewModel.setup()->updateEventName(request.eventName);
    viewModel.setDestinationBaseFolder(request.destinationBase);
    viewModel.loading()->load(request.folder);
    if (!runUntil(viewModel, [&] { return !viewModel.loading()->isLoading(); }) || viewModel.route() != AppRoute::setup)
        return viewModel.alertText();
    // Said before the review, so a run killed later has still told its user.
    for (const QString& note : {viewModel.loading()->skippedEntriesNoteText(), viewModel.destinationBaseWarning()})
        if (!note.isEmpty())
            err() << cli::note(note) << "\n";
    err().flush();
    if (request.choice)
        viewModel.loading()->chooseFormatReview(*request.choice);
    viewModel.selectOperationMode(request.mode);
    if (request.verification)
        viewModel.setup()->updateVerificationMode(*request.verification);
    viewModel.setup()->updateGroupByDate(request.groupByDate);
    if (request.runFolderName)
        viewModel.updateRunFolderName(*request.runFolderName);
    viewModel.loading()->startReviewing();
    if (viewModel.route() != AppRoute::reviewing)
        return viewModel.alertText();

    // Per file, the decision the list gives it; matched as the recovery import matches.
    QHash<FileUrl, PhotoDecision> listed;
    try {
        if (!request.all)
            listed = matchRecoveryRows(request.rows, viewModel.loading()->scannedInventory()).decisions;
    } catch (const KestravaError& error) {
        return error.description();
    }

    int committed = 0;
    const QMetaObject::Connection counting =
        QObject::connect(viewModel.review(), &ReviewStage::decisionCommitted, [&](const QString& groupID) {
            ++committed;
            err() << decisionAcknowledged(committed, groupID) << "\n";
            err().flush();
        });
    const auto stopCounting = qScopeGuard([&] { QObject::disconnect(counting); });

    const QList<ReviewGroup> groups = viewModel.review()->effectiveReviewGroups();
    for (const ReviewGroup& group : groups) {
        std::optional<PhotoDecision> decision = request.all;
        for (const QString& candidate : viewModel.review()->previewCandidates())
            if (!decision && listed.contains(FileUrl::fromLocalPath(candidate)))
                decision = listed.value(FileUrl::fromLocalPath(candidate));
        if (!decision)
            return noDecisionListed(group.previewURL.fileName());
        // What the preview loader reports once the picture is on screen.
        viewModel.review()->setPreviewReady(true, group.previewURL.path());
        const int before = committed;
        viewModel.review()->classify(*decision);
        if (!runUntil(viewModel, [&] { return committed > before && !viewModel.review()->isCommittingDecision(); }))
            return viewModel.alertText();
    }
    if (!runUntil(viewModel, [&] { return viewModel.route() == AppRoute::confirmation; }))
        return viewModel.alertText();
    viewModel.flushSessionBeforeTerminationAndWait();
    // Let the snapshot's bookkeeping run so a failure surfaces as the alert.
    QCoreApplication::processEvents();
    if (viewModel.alertMessage())
        return viewModel.alertText();
    return std::nullopt;
}

} // namespace kestrava::cli
