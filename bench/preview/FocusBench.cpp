// Focus measures on 2048 px previews: the score and the peaking overlay on one core, and a
// folder scored from previews already in the disk cache through the focus pipeline (two decode
// slots), per shot.

#include "BenchFiles.h"

#include "preview/FocusMeasure.h"
#include "preview/FocusPipeline.h"
#include "preview/PreviewRenderer.h"

#include <QDir>
#include <QFile>
#include <benchmark/benchmark.h>

using namespace kestrava;

namespace {

const QImage& preview2048()
{
    static const QImage image = [] {
        const auto payload = PreviewRenderer::render(bench::cameraJpeg24mp(), 2048);
        return payload ? payload->image : QImage();
    }();
    return image;
}

void BM_FocusScore2048(benchmark::State& state)
{
    const QImage& image = preview2048();
    float score = 0;
    for (auto _ : state) {
        score = measureFocus(image).score;
        benchmark::DoNotOptimize(score);
    }
    state.counters["width"] = image.width();
    state.counters["score"] = score;
}
BENCHMARK(BM_FocusScore2048)->Unit(benchmark::kMillisecond)->MinTime(2);

void BM_FocusPeaking2048(benchmark::State& state)
{
    const QImage& image = preview2048();
    const FocusMap map = measureFocus(image);
    for (auto _ : state) {
        const QImage overlay = focusPeaking(image, map);
        benchmark::DoNotOptimize(overlay.constBits());
    }
}
BENCHMARK(BM_FocusPeaking2048)->Unit(benchmark::kMillisecond)->MinTime(2);

// Time per shot for a folder whose previews are all in the disk cache and whose focus maps are
// not: each shot costs a JPEG decode of its cached preview plus the measure.
void BM_FocusFolderFromDiskCache(benchmark::State& state)
{
    constexpr int shots = 48;
    const QString root = bench::scratchFolder() + QStringLiteral("/focus-folder");
    const QString cache = root + QStringLiteral("/Previews");
    QDir().mkpath(cache);
    const DiskPreviewCache disk(cache);
    QList<FileUrl> urls;
    for (int i = 0; i < shots; ++i) {
        const QString path = root + QStringLiteral("/IMG_%1.JPG").arg(i);
        QFile file(path);
        file.open(QIODevice::WriteOnly);
        file.write("stand-in: the preview comes from the cache");
        file.close();
        disk.save(previewCacheKey(path, 2048), PreviewPayload::of(preview2048(), PreviewSource::decoded));
        urls.append(FileUrl::fromLocalPath(path));
    }
    PreviewPipeline::Options options;
    options.cacheFolder = cache;
    options.decodeConcurrency = [](const QString&) { return 2; };
    PreviewPipeline previews(std::move(options));
    for (auto _ : state) {
        FocusPipeline focus({&previews, QString(), 4096, &measureFocus});
        QList<QFuture<FocusResult>> futures;
        for (const FileUrl& url : urls)
            futures.append(focus.focus(url, 2048));
        for (auto& future : futures)
            benchmark::DoNotOptimize(future.result());
    }
    state.SetItemsProcessed(state.iterations() * shots);
    state.counters["msPerShot"] = benchmark::Counter(double(state.iterations() * shots), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    QDir(root).removeRecursively();
}
BENCHMARK(BM_FocusFolderFromDiskCache)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(3);

} // namespace
