// What a decision costs the timeline and the audit list at 20,000 groups, without drawing.

#include "ui/AuditListModel.h"
#include "ui/DecisionTimelineItem.h"
#include "workflow/KestravaViewModel.h"

#include <QGuiApplication>
#include <memory>
#include <benchmark/benchmark.h>

using namespace kestrava;

namespace {

QList<std::optional<PhotoDecision>> mixedDecisions(int count)
{
    QList<std::optional<PhotoDecision>> decisions;
    decisions.reserve(count);
    for (int i = 0; i < count; ++i) {
        // Decided in stretches, the way a review proceeds, with an undecided tail.
        if (i > count * 3 / 4)
            decisions.append(std::nullopt);
        else
            decisions.append(PhotoDecision((i / 7 + i / 13) % 3));
    }
    return decisions;
}

void timelineRuns(benchmark::State& state)
{
    const auto decisions = mixedDecisions(int(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(DecisionTimelineItem::runs(decisions, 1180));
}
BENCHMARK(timelineRuns)->Arg(20000)->Unit(benchmark::kMicrosecond);

// The plain copy of the decision list that every timeline update starts from, for comparison.
void decisionListCopyBaseline(benchmark::State& state)
{
    const auto decisions = mixedDecisions(int(state.range(0)));
    for (auto _ : state) {
        auto copy = decisions;
        copy.detach();
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK(decisionListCopyBaseline)->Arg(20000)->Unit(benchmark::kMicrosecond);

// A view model over `groups` single JPEGs (no files needed: the scan is replaced), in review.
std::unique_ptr<KestravaViewModel> reviewOf(int groups)
{
    QList<PhotoItem> photos;
    for (int i = 0; i < groups; ++i) {
        PhotoItem item;
        item.sourceURL = FileUrl::fromLocalPath(QStringLiteral("/bench/IMG_%1.JPG").arg(i, 5, 10, QLatin1Char('0')));
        item.formatGroup = PhotoFormatGroup::jpeg;
        item.fileSize = 8'000'000;
        photos.append(item);
    }
    WorkflowServices services;
    services.scanFolder = [photos](const FileUrl&) { return photos; };
    auto viewModel = std::make_unique<KestravaViewModel>(services);
    viewModel->loading()->load(QStringLiteral("/bench"));
    while (viewModel->route() != AppRoute::setup)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    viewModel->loading()->chooseFormatReview(FormatReviewChoice::jpeg);
    return viewModel;
}

void auditRebuild(benchmark::State& state)
{
    auto viewModel = reviewOf(int(state.range(0)));
    for (auto _ : state) {
        AuditListModel model;
        model.setViewModel(viewModel.get());
        benchmark::DoNotOptimize(model.rowCount());
    }
}
BENCHMARK(auditRebuild)->Arg(20000)->Unit(benchmark::kMillisecond);

// One decision seen by the list: compare every row's decision, notify the changed one.
void auditDecisionRefresh(benchmark::State& state)
{
    auto viewModel = reviewOf(int(state.range(0)));
    AuditListModel model;
    model.setViewModel(viewModel.get());
    const QList<ReviewGroup> groups = viewModel->review()->effectiveReviewGroups();
    int i = 0;
    for (auto _ : state) {
        viewModel->review()->reclassify(i % 2 ? PhotoDecision::keep : PhotoDecision::maybe, groups[(i * 7919) % groups.size()].id);
        while (viewModel->review()->isCommittingDecision())
            QCoreApplication::processEvents();
        ++i;
    }
}
BENCHMARK(auditDecisionRefresh)->Arg(20000)->Unit(benchmark::kMillisecond);

void auditSearchKeystroke(benchmark::State& state)
{
    auto viewModel = reviewOf(int(state.range(0)));
    AuditListModel model;
    model.setViewModel(viewModel.get());
    int i = 0;
    for (auto _ : state) {
        model.setSearchText(i % 2 ? QStringLiteral("img_1") : QStringLiteral("img_12"));
        ++i;
    }
}
BENCHMARK(auditSearchKeystroke)->Arg(20000)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
