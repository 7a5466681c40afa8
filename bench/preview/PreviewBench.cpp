// Preview speed against plain library calls in the same run:
// - a cold 2048 px preview of a 24-megapixel JPEG against TurboJPEG decoding it at 1/2;
// - memory- and disk-cache hits through the pipeline;
// - extracting the embedded JPEG of the real NEF, CR2, CR3 and ARW files (bytes only).

#include "BenchFiles.h"

#include "preview/PreviewPipeline.h"
#include "preview/PreviewRenderer.h"
#include "preview/RawSources.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <benchmark/benchmark.h>

#ifdef KESTRAVA_HAVE_TURBOJPEG
#include <turbojpeg.h>
#endif

using namespace kestrava;

namespace {

#ifdef KESTRAVA_HAVE_TURBOJPEG
void BM_TurboJpegDecodeHalf(benchmark::State& state)
{
    QFile file(bench::cameraJpeg24mp());
    file.open(QIODevice::ReadOnly);
    const QByteArray jpeg = file.readAll();
    tjhandle handle = tjInitDecompress();
    int width = 0, height = 0, subsampling = 0, colorspace = 0;
    tjDecompressHeader3(handle, reinterpret_cast<const unsigned char*>(jpeg.constData()), jpeg.size(), &width, &height, &subsampling, &colorspace);
    const int outWidth = (width + 1) / 2, outHeight = (height + 1) / 2;
    std::vector<unsigned char> pixels(size_t(outWidth) * outHeight * 4);
    for (auto _ : state) {
        // Reading the file is part of the job for both sides.
        QFile again(bench::cameraJpeg24mp());
        again.open(QIODevice::ReadOnly);
        const QByteArray bytes = again.readAll();
        const int rc = tjDecompress2(handle, reinterpret_cast<const unsigned char*>(bytes.constData()), bytes.size(), pixels.data(),
                                     outWidth, 0, outHeight, TJPF_BGRX, 0);
        benchmark::DoNotOptimize(rc);
    }
    tjDestroy(handle);
    state.counters["width"] = outWidth;
}
BENCHMARK(BM_TurboJpegDecodeHalf)->Unit(benchmark::kMillisecond)->MinTime(3);
#endif

void BM_ColdPreviewJpeg24mpAt2048(benchmark::State& state)
{
    const QString path = bench::cameraJpeg24mp();
    int width = 0;
    for (auto _ : state) {
        const auto payload = PreviewRenderer::render(path, 2048);
        width = payload ? payload->image.width() : -1;
        benchmark::DoNotOptimize(width);
    }
    state.counters["width"] = width;
}
BENCHMARK(BM_ColdPreviewJpeg24mpAt2048)->Unit(benchmark::kMillisecond)->MinTime(3);

PreviewPipeline::Options cachedOptions(const QString& folder, qint64 memoryBytes)
{
    PreviewPipeline::Options options;
    options.cacheFolder = folder;
    options.memoryByteLimit = memoryBytes;
    return options;
}

void BM_MemoryCacheHit(benchmark::State& state)
{
    PreviewPipeline pipeline(cachedOptions(QString(), 268435456));
    const FileUrl url = FileUrl::fromLocalPath(bench::cameraJpeg24mp());
    pipeline.preview(url, 2048, 100).waitForFinished();
    for (auto _ : state) {
        auto future = pipeline.preview(url, 2048, 100);
        future.waitForFinished();
        benchmark::DoNotOptimize(future.result());
    }
}
BENCHMARK(BM_MemoryCacheHit)->Unit(benchmark::kMicrosecond);

void BM_DiskCacheHit(benchmark::State& state)
{
    const QString folder = bench::scratchFolder() + "/Previews";
    {
        PreviewPipeline warm(cachedOptions(folder, 268435456));
        warm.preview(FileUrl::fromLocalPath(bench::cameraJpeg24mp()), 2048, 100).waitForFinished();
        warm.waitForDiskCache();
    }
    // A memory cache too small for any preview: every request is answered from disk.
    PreviewPipeline pipeline(cachedOptions(folder, 0));
    const FileUrl url = FileUrl::fromLocalPath(bench::cameraJpeg24mp());
    for (auto _ : state) {
        auto future = pipeline.preview(url, 2048, 100);
        future.waitForFinished();
        benchmark::DoNotOptimize(future.result());
    }
}
BENCHMARK(BM_DiskCacheHit)->Unit(benchmark::kMillisecond);

void BM_RawEmbeddedExtraction(benchmark::State& state, const char* file)
{
    const QString path = QStringLiteral(KESTRAVA_CAMERA_TESTDATA) + '/' + file;
    if (!QFile::exists(path)) {
        state.SkipWithError("camera test data not present");
        return;
    }
    qint64 bytes = 0;
    for (auto _ : state) {
        const auto embedded = preview::bestEmbeddedJpeg(path, 2048);
        bytes = embedded ? embedded->bytes.size() : -1;
        benchmark::DoNotOptimize(bytes);
    }
    state.counters["jpegBytes"] = double(bytes);
}
BENCHMARK_CAPTURE(BM_RawEmbeddedExtraction, NEF, "imagemeta-NEF-head.NEF")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_RawEmbeddedExtraction, CR2, "imagemeta-CR2-head.CR2")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_RawEmbeddedExtraction, CR3, "Canon-R6-pruned.CR3")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_RawEmbeddedExtraction, ARW, "imagemeta-ARW-head.ARW")->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
