// kestrava-cli review: a whole review without a screen, up to the confirmation screen. The
// session is left ready for execution (see ReviewFlow.h for how the decisions are given).

#include "CliCommand.h"
#include "ReviewFlow.h"
#include "model/Json.h"
#include "session/SessionStore.h"

namespace {

using namespace kestrava;

constexpr char reviewUsage[] =
    "review DIR --dest BASIS --mode safeCopy|moveOriginals|organizeAndTrash [--choice jpeg|raw|both] [--name NAME] "
    "[--event NAME] [--store ORDNER] (--decisions DATEI.csv | --all keep|maybe|delete)";

int runReview(const QStringList& arguments)
{
    const cli::Arguments args(arguments, cli::reviewValueOptions());
    cli::ReviewRequest request;
    if (const auto exit = cli::parseReviewRequest(args, reviewUsage, request))
        return *exit;

    const auto store = cli::openStore(args);
    KestravaViewModel viewModel(cli::headlessServices(*store));
    if (const auto failure = cli::runReviewFlow(viewModel, request))
        return cli::fail(*failure);

    QJsonObject counts;
    for (PhotoDecision d : allCases<PhotoDecision>())
        counts.insert(rawValue(d), viewModel.review()->decisionCount(d));
    QJsonObject result;
    result.insert(QLatin1String("sessionID"), json::encodeUuid(viewModel.session()->id));
    result.insert(QLatin1String("route"), viewModel.routeName());
    result.insert(QLatin1String("counts"), counts);
    result.insert(QLatin1String("destinationFolder"), viewModel.destinationFolder()->toUrlString());
    result.insert(QLatin1String("skippedEntryCount"), viewModel.skippedEntryCount());
    cli::printJson(json::toCompactJson(result));
    return cli::success;
}

const cli::Registration registration{"review", reviewUsage, &runReview};

} // namespace
