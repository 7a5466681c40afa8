// Scanning 100,000 photo names in 1,000 folders (warm cache, sort included) against
// `find DIR -type f -printf '%s %T@ %p\n' > /dev/null` on the same tree, and ReviewGroup::build
// for 100,000 photos. The tree lives under $KESTRAVA_BENCH_DIR (default: the temp folder).
//
// After the Google Benchmark runs (unless filtered), a summary of alternating timed runs prints the scan/find
// ratio (target: at most 1.5) and the group-building time (target: under 150 ms).

#include "model/Text.h"
#include "scanning/PhotoInventoryScanner.h"
#include "scanning/generator/ShootGenerator.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <malloc.h>
#include <random>
#include <sys/resource.h>
#include <time.h>

using namespace kestrava;

namespace {

constexpr int folderCount = 1000;
constexpr int filesPerFolder = 100;

QString benchTreeRoot;

QString treeRoot()
{
    return benchTreeRoot;
}

void runFind()
{
    QProcess find;
    find.setStandardOutputFile(QProcess::nullDevice());
    find.start(QStringLiteral("find"), {treeRoot(), QStringLiteral("-type"), QStringLiteral("f"), QStringLiteral("-printf"),
                                        QStringLiteral("%s %T@ %p\\n")});
    find.waitForFinished(-1);
}

void BM_ScanInventory(benchmark::State& state)
{
    qsizetype files = 0;
    for (auto _ : state) {
        const QList<PhotoItem> items = PhotoInventoryScanner::scan(FileUrl::fromLocalPath(treeRoot()));
        files = items.size();
        benchmark::DoNotOptimize(items.constData());
    }
    state.counters["files/s"] = benchmark::Counter(double(files), benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_ScanInventory)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

void BM_FindBaseline(benchmark::State& state)
{
    for (auto _ : state)
        runFind();
    state.counters["files/s"] = benchmark::Counter(double(folderCount * filesPerFolder), benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_FindBaseline)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

QList<PhotoItem> shuffledScan()
{
    QList<PhotoItem> items = PhotoInventoryScanner::scan(FileUrl::fromLocalPath(treeRoot()));
    std::mt19937 random(7);
    std::shuffle(items.begin(), items.end(), random);
    return items;
}

// The sort alone, keys built on both cores.
void BM_SortByRelativePath(benchmark::State& state)
{
    const QList<PhotoItem> shuffled = shuffledScan();
    for (auto _ : state) {
        state.PauseTiming();
        QList<PhotoItem> items = shuffled;
        items.detach();
        state.ResumeTiming();
        PhotoInventoryScanner::sortByRelativePath(items);
        benchmark::DoNotOptimize(items.constData());
    }
}
BENCHMARK(BM_SortByRelativePath)->Unit(benchmark::kMillisecond)->UseRealTime();

// What the key building costs on one core: compare with the whole sort above to see what the
// second core saves.
void BM_SortKeysOneCore(benchmark::State& state)
{
    const QList<PhotoItem> shuffled = shuffledScan();
    for (auto _ : state) {
        std::vector<QCollatorSortKey> keys;
        keys.reserve(std::size_t(shuffled.size()));
        for (const PhotoItem& item : shuffled)
            keys.push_back(text::naturalSortKey(item.relativePath));
        benchmark::DoNotOptimize(keys.data());
    }
}
BENCHMARK(BM_SortKeysOneCore)->Unit(benchmark::kMillisecond)->UseRealTime();

// A realistic mix: per folder, shots with JPEG+RAW, JPEG only and RAW only.
QList<PhotoItem> syntheticPhotos(int count)
{
    QList<PhotoItem> photos;
    photos.reserve(count);
    const QDateTime date = QDateTime::fromSecsSinceEpoch(1714550400, Qt::UTC);
    for (int shot = 0; photos.size() < count; ++shot) {
        const QString folder = QStringLiteral("Karte %1/Serie %2/").arg(shot / 1000 + 1).arg(shot / 100 % 10 + 1);
        const QString base = folder + QStringLiteral("IMG_") + QString::number(shot);
        const int kind = shot % 10; // 0..6 pair, 7..8 JPEG only, 9 RAW only
        auto add = [&](const QString& extension, PhotoFormatGroup group) {
            PhotoItem item;
            item.relativePath = base + extension;
            item.sourceURL = FileUrl::fromLocalPath(QStringLiteral("/media/karte/DCIM/") + item.relativePath);
            item.formatGroup = group;
            item.captureDate = item.modificationDate = date;
            photos.append(std::move(item));
        };
        if (kind <= 8)
            add(QStringLiteral(".JPG"), PhotoFormatGroup::jpeg);
        if ((kind <= 6 || kind == 9) && photos.size() < count)
            add(QStringLiteral(".CR3"), PhotoFormatGroup::raw);
    }
    return photos;
}

void BM_ReviewGroupBuildBoth(benchmark::State& state)
{
    const QList<PhotoItem> photos = syntheticPhotos(int(state.range(0)));
    qsizetype groups = 0;
    for (auto _ : state) {
        const QList<ReviewGroup> built = ReviewGroup::build(photos, FormatReviewChoice::both);
        groups = built.size();
        benchmark::DoNotOptimize(built.constData());
    }
    // Memory the result keeps (the build's temporary index is freed on return).
    malloc_trim(0);
    const size_t before = mallinfo2().uordblks;
    QList<ReviewGroup> kept = ReviewGroup::build(photos, FormatReviewChoice::both);
    const size_t after = mallinfo2().uordblks;
    state.counters["groups"] = double(groups);
    state.counters["resultBytesPerPhoto"] = double(after - before) / double(photos.size());
}
BENCHMARK(BM_ReviewGroupBuildBoth)->Arg(10000)->Arg(50000)->Arg(100000)->Unit(benchmark::kMillisecond)->UseRealTime();

double cpuMs(const struct rusage& usage)
{
    return (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e3 + (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e3;
}

// CPU time of this process (all threads) or of its finished children, in ms. On a loaded
// machine the wall clock mostly measures the other processes; CPU time still compares.
double processCpuMs()
{
    struct rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return cpuMs(usage);
}

double childrenCpuMs()
{
    struct rusage usage;
    getrusage(RUSAGE_CHILDREN, &usage);
    return cpuMs(usage);
}

double medianMs(std::vector<double> samples)
{
    std::sort(samples.begin(), samples.end());
    return samples[samples.size() / 2];
}

void printSummary()
{
    std::vector<double> scanMs, findMs, groupMs, scanCpu, findCpu, sortMs;
    QElapsedTimer timer;
    for (int round = 0; round < 7; ++round) {
        double cpu = processCpuMs();
        timer.start();
        const QList<PhotoItem> items = PhotoInventoryScanner::scan(FileUrl::fromLocalPath(treeRoot()));
        scanMs.push_back(double(timer.nsecsElapsed()) / 1e6);
        scanCpu.push_back(processCpuMs() - cpu);
        cpu = childrenCpuMs();
        timer.start();
        runFind();
        findMs.push_back(double(timer.nsecsElapsed()) / 1e6);
        findCpu.push_back(childrenCpuMs() - cpu);
    }
    const QList<PhotoItem> shuffled = shuffledScan();
    for (int round = 0; round < 5; ++round) {
        QList<PhotoItem> items = shuffled;
        items.detach();
        timer.start();
        PhotoInventoryScanner::sortByRelativePath(items);
        sortMs.push_back(double(timer.nsecsElapsed()) / 1e6);
    }
    const QList<PhotoItem> photos = syntheticPhotos(100000);
    for (int round = 0; round < 7; ++round) {
        timer.start();
        const QList<ReviewGroup> built = ReviewGroup::build(photos, FormatReviewChoice::both);
        groupMs.push_back(double(timer.nsecsElapsed()) / 1e6);
    }
    const double scan = medianMs(scanMs), find = medianMs(findMs);
    std::printf("\nSummary (median of 7 alternating runs, %d files in %d folders)\n", folderCount * filesPerFolder,
                folderCount);
    std::printf("  scan incl. sort: %.1f ms (%.0f files/s)\n", scan, folderCount * filesPerFolder / (scan / 1000.0));
    std::printf("  find -printf:    %.1f ms (%.0f files/s)\n", find, folderCount * filesPerFolder / (find / 1000.0));
    std::printf("  ratio scan/find: %.2f wall (target <= 1.5)\n", scan / find);
    std::printf("  CPU time (all threads / the find process): scan %.1f ms, find %.1f ms, ratio %.2f\n",
                medianMs(scanCpu), medianMs(findCpu), medianMs(scanCpu) / medianMs(findCpu));
    std::printf("  of the scan, the sort of 100000 shuffled paths alone: %.1f ms\n", medianMs(sortMs));
    std::printf("  ReviewGroup::build, 100000 photos, both: %.1f ms (target < 150)\n", medianMs(groupMs));
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QString base = qEnvironmentVariable("KESTRAVA_BENCH_DIR");
    QTemporaryDir dir(base.isEmpty() ? QDir::tempPath() + QStringLiteral("/kestrava-scan-bench-XXXXXX")
                                     : base + QStringLiteral("/kestrava-scan-bench-XXXXXX"));
    // An existing tree (from `kestrava-cli generate DIR --names-only --shots 100000 --folders 1000`)
    // saves the minute it takes to create one.
    benchTreeRoot = qEnvironmentVariable("KESTRAVA_SCAN_TREE");
    if (benchTreeRoot.isEmpty()) {
        benchTreeRoot = dir.path() + QStringLiteral("/tree");
        std::printf("Creating %d files in %d folders under %s ...\n", folderCount * filesPerFolder, folderCount,
                    qPrintable(benchTreeRoot));
        shootgen::generateNameOnlyTree(benchTreeRoot, folderCount, filesPerFolder, 0.3, 1);
    }
    // Warm the caches for both contenders.
    PhotoInventoryScanner::scan(FileUrl::fromLocalPath(treeRoot()));
    runFind();

    bool filtered = false;
    for (int i = 1; i < argc; ++i)
        filtered = filtered || QByteArray(argv[i]).startsWith("--benchmark_filter");
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    if (!filtered) // a filtered run is for profiling one benchmark
        printSummary();
    return 0;
}
