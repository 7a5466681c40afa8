// Timed run (not Google Benchmark: a decision is a state change that cannot be repeated on
// the same group, so each sample is one real decision in review order).
//
//   workflow_bench [--groups N] [--commits M] [--dir FOLDER]
//
// Prints median and p99 of: the in-memory part of a decision (classify without a session:
// members, counts, history, feedback, index), a full recount of all groups (what a
// decision would cost if it rescanned the photos), the whole decide-and-commit through the
// session store (until the journal line is flushed and the view model has moved on), and a
// plain durable append of a line of the same size in the same folder.

#include "platform/DurableFile.h"
#include "session/SessionStore.h"
#include "workflow/KestravaViewModel.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <algorithm>
#include <cstdio>

using namespace kestrava;

namespace {

QList<PhotoItem> syntheticShoot(const QString& folder, int groups)
{
    // Half pairs, half singles: `groups` review groups with choice `both`.
    QList<PhotoItem> items;
    const int pairs = groups / 2;
    auto add = [&](const QString& name) {
        PhotoItem item;
        item.relativePath = name;
        item.sourceURL = FileUrl::fromLocalPath(folder + QLatin1Char('/') + name);
        item.formatGroup = formatGroupForFileName(name);
        item.fileSize = 24'000'000;
        item.captureDate = distantPast();
        item.modificationDate = QDateTime(QDate(2026, 3, 1), QTime(9, 0), Qt::UTC);
        items.append(item);
    };
    for (int i = 0; i < pairs; ++i) {
        add(QStringLiteral("Tag/IMG_%1.JPG").arg(i, 6, 10, QLatin1Char('0')));
        add(QStringLiteral("Tag/IMG_%1.CR3").arg(i, 6, 10, QLatin1Char('0')));
    }
    for (int i = pairs; i < groups; ++i)
        add(QStringLiteral("Tag/SOLO_%1.JPG").arg(i, 6, 10, QLatin1Char('0')));
    return items;
}

struct Figures {
    double median = 0;
    double p99 = 0;
};

Figures summarize(std::vector<double> samples)
{
    std::sort(samples.begin(), samples.end());
    if (samples.empty())
        return {};
    return {samples[samples.size() / 2], samples[std::min(samples.size() - 1, samples.size() * 99 / 100)]};
}

void print(const char* what, const Figures& f, std::size_t count)
{
    std::printf("%-46s median %9.3f ms   p99 %9.3f ms   (n=%zu)\n", what, f.median, f.p99, count);
}

void spinUntil(const std::function<bool()>& done)
{
    while (!done())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
}

std::unique_ptr<KestravaViewModel> reviewing(WorkflowServices services, const QString& folder, const QString& base,
                                             const QList<PhotoItem>& shoot)
{
    services.scanFolder = [shoot](const FileUrl&) { return shoot; };
    services.timings = {std::chrono::milliseconds(620), std::chrono::milliseconds(180), std::chrono::hours(1)};
    auto vm = std::make_unique<KestravaViewModel>(services);
    vm->setDestinationBaseFolder(base);
    vm->load(folder);
    spinUntil([&] { return !vm->isLoading(); });
    vm->selectOperationMode(SortOperationMode::safeCopy);
    vm->startReviewing();
    return vm;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    auto option = [&](const QString& name, const QString& fallback) {
        const qsizetype i = args.indexOf(name);
        return i >= 0 && i + 1 < args.size() ? args[i + 1] : fallback;
    };
    const int groups = option(QStringLiteral("--groups"), QStringLiteral("20000")).toInt();
    const int commits = option(QStringLiteral("--commits"), QStringLiteral("2000")).toInt();
    // On the build's disk rather than /tmp, which may be memory and would make flushes free.
    QTemporaryDir dir(option(QStringLiteral("--dir"), QDir::currentPath()) + QStringLiteral("/workflow-bench-XXXXXX"));
    const QString folder = dir.path() + QStringLiteral("/Fotos");
    const QList<PhotoItem> shoot = syntheticShoot(folder, groups);
    std::printf("%d review groups (%lld files), %d journaled decisions\n", groups, qlonglong(shoot.size()), commits);

    QElapsedTimer clock;
    {
        auto vm = reviewing({}, folder, dir.path(), shoot);
        std::vector<double> decision;
        std::vector<double> recount;
        decision.reserve(std::size_t(groups));
        ReviewIndex index;
        index.rebuild(vm->photos(), vm->reviewGroups());
        for (int i = 0; i < groups; ++i) {
            vm->review()->setPreviewReady(true, vm->review()->previewCandidates().first());
            clock.start();
            vm->review()->classify(PhotoDecision(i % 3));
            decision.push_back(double(clock.nsecsElapsed()) / 1e6);
            if (i % 100 == 0) {
                DecisionTally tally;
                clock.start();
                tally.recalculate(vm->reviewGroups(), vm->photos(), index);
                recount.push_back(double(clock.nsecsElapsed()) / 1e6);
            }
        }
        print("decision in memory (no session)", summarize(decision), decision.size());
        print("baseline: recount of all groups", summarize(recount), recount.size());
    }
    {
        SessionStore store(dir.path() + QStringLiteral("/Sessions"));
        WorkflowServices services;
        services.sessionStore = &store;
        auto vm = reviewing(services, folder, dir.path(), shoot);
        spinUntil([&] { return vm->sessionStage()->lastSavedAt().has_value(); });
        std::vector<double> commit;
        int committed = 0;
        QObject::connect(vm->review(), &ReviewStage::decisionCommitted, [&] { ++committed; });
        for (int i = 0; i < std::min(commits, groups); ++i) {
            vm->review()->setPreviewReady(true, vm->review()->previewCandidates().first());
            clock.start();
            vm->review()->classify(PhotoDecision(i % 3));
            spinUntil([&] { return committed > i; });
            commit.push_back(double(clock.nsecsElapsed()) / 1e6);
        }
        print("decide and commit (journal flushed)", summarize(commit), commit.size());
        vm->flushSessionBeforeTerminationAndWait();

        std::vector<double> plain;
        const QByteArray line(220, 'x');
        const QString path = dir.path() + QStringLiteral("/plain.jsonl");
        for (int i = 0; i < std::min(commits, groups); ++i) {
            clock.start();
            durableAppend(path, line + '\n');
            plain.push_back(double(clock.nsecsElapsed()) / 1e6);
        }
        print("baseline: durable append of one line", summarize(plain), plain.size());

        std::vector<double> storeOnly;
        const QUuid other = QUuid::createUuid();
        const QStringList paths{shoot.first().sourceURL.path(), shoot[1].sourceURL.path()};
        for (int i = 0; i < std::min(commits, groups); ++i) {
            clock.start();
            store.append(SessionEventKind::decision, paths, PhotoDecision::keep, std::nullopt, i, 0, other).waitForFinished();
            storeOnly.push_back(double(clock.nsecsElapsed()) / 1e6);
        }
        print("baseline: session store append, waited", summarize(storeOnly), storeOnly.size());
    }
    return 0;
}
