// A simulated culling run, timed as a command-line program:
//   preview_culling [SHOTS] [INTERVAL_MS]     (defaults 500 and 150)
// Generates SHOTS 24-megapixel JPEG+DNG pairs, then steps through them with one decision every
// INTERVAL_MS as the review screen does: load the current JPEG at 2048 px and prefetch the next
// four. Measures the time from the key press to the picture being available and the resident
// memory, and beside the wall-clock figures the CPU time each render took and the load average,
// so that a run on a busy machine can be told from a slow pipeline. Twenty distinct pictures are written once and hard-linked under the other names:
// every name is its own cache key and its own decode, without writing gigabytes.

#include "preview/PhotoPreviewLoader.h"
#include "scanning/generator/DngWriter.h"
#include "scanning/generator/ShootImages.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QGuiApplication>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <mutex>
#include <sys/resource.h>
#include <unistd.h>

using namespace kestrava;

namespace {

qint64 residentKiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray& line : status.readAll().split('\n'))
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toLongLong();
    return 0;
}

QList<FileUrl> writeShoot(const QString& root, int shots)
{
    constexpr int distinct = 20;
    QDir().mkpath(root + "/JPEG");
    QDir().mkpath(root + "/RAW");
    QList<FileUrl> previews;
    const QDateTime start(QDate(2024, 6, 1), QTime(9, 0, 0));
    for (int i = 0; i < shots; ++i) {
        const QString name = QStringLiteral("IMG_%1").arg(i, 4, 10, QLatin1Char('0'));
        const QString jpeg = root + "/JPEG/" + name + ".JPG";
        const QString dng = root + "/RAW/" + name + ".DNG";
        if (i < distinct) {
            std::fprintf(stderr, "\rwriting picture %d/%d", i + 1, distinct);
            const shootgen::CameraTags tags{"Kestrava", "Culling", start.addSecs(i), 0};
            const QImage picture = shootgen::renderScene(QSize(6000, 4000), quint64(i + 1));
            QFile j(jpeg), d(dng);
            j.open(QIODevice::WriteOnly);
            j.write(shootgen::jpegWithExif(picture, 90, tags));
            d.open(QIODevice::WriteOnly);
            d.write(shootgen::dngBytes(picture, tags, {{600, 400}, 1024, 85, 1}));
        } else {
            const QString sourceName = QStringLiteral("IMG_%1").arg(i % distinct, 4, 10, QLatin1Char('0'));
            ::link(QFile::encodeName(root + "/JPEG/" + sourceName + ".JPG").constData(), QFile::encodeName(jpeg).constData());
            ::link(QFile::encodeName(root + "/RAW/" + sourceName + ".DNG").constData(), QFile::encodeName(dng).constData());
        }
        previews.append(FileUrl::fromLocalPath(jpeg));
    }
    std::fprintf(stderr, "\n");
    return previews;
}

double percentile(std::vector<double> values, double p)
{
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    const size_t index = std::min(values.size() - 1, size_t(p * double(values.size() - 1) + 0.5));
    return values[index];
}

double threadCpuMs()
{
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return double(ts.tv_sec) * 1e3 + double(ts.tv_nsec) / 1e6;
}

double processCpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) + double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

QByteArray loadAverage()
{
    QFile file(QStringLiteral("/proc/loadavg"));
    if (!file.open(QIODevice::ReadOnly))
        return "?";
    return file.readAll().split(' ').first();
}

// Wall and CPU milliseconds of every renderer call.
struct RenderTimes {
    std::mutex mutex;
    std::vector<double> wall, cpu;
    int cancelled = 0;
};

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const int shots = argc > 1 ? std::max(2, atoi(argv[1])) : 500;
    const int interval = argc > 2 ? std::max(1, atoi(argv[2])) : 150;

    QTemporaryDir scratch;
    const QList<FileUrl> previews = writeShoot(scratch.path() + "/Shoot", shots);

    RenderTimes renders;
    PreviewPipeline::Options options;
    options.cacheFolder = scratch.path() + "/Previews";
    options.renderer = [&renders](const QString& path, int size, const PreviewRenderer::CancelCheck& isCanceled) {
        QElapsedTimer wall;
        wall.start();
        const double cpuStart = threadCpuMs();
        PreviewResult result = PreviewRenderer::render(path, size, isCanceled);
        const double cpu = threadCpuMs() - cpuStart;
        std::lock_guard lock(renders.mutex);
        renders.wall.push_back(double(wall.nsecsElapsed()) / 1e6);
        renders.cpu.push_back(cpu);
        renders.cancelled += isCanceled && isCanceled() ? 1 : 0;
        return result;
    };
    PreviewPipeline pipeline(std::move(options));
    PhotoPreviewLoader loader(pipeline);
    loader.setTargetPixelSizeOverride(2048);

    const qint64 baseRss = residentKiB();
    const QByteArray loadBefore = loadAverage();
    const double cpuBefore = processCpuSeconds();
    QElapsedTimer runClock;
    runClock.start();
    std::vector<double> latencies;
    qint64 peakRss = baseRss;
    qint64 peakCacheBytes = 0;
    int failures = 0;
    QElapsedTimer clock;
    for (int i = 0; i < shots; ++i) {
        clock.start();
        bool ready = false, failed = false;
        QEventLoop loop;
        loader.load(previews[i], [&](const FileUrl&, PreviewLoadState state) {
            if (state == PreviewLoadState::shown) {
                ready = true;
                loop.quit();
            }
        });
        QObject::connect(&loader, &PhotoPreviewLoader::didFailChanged, &loop, [&] {
            if (loader.didFail()) {
                failed = true;
                loop.quit();
            }
        });
        // As the review screen does: the next four are asked for right after the current one,
        // not once it is shown.
        loader.prefetch(previews.mid(i + 1, 4));
        if (!ready && !failed)
            loop.exec();
        const double latency = double(clock.nsecsElapsed()) / 1e6;
        failures += failed ? 1 : 0;
        latencies.push_back(latency);
        peakCacheBytes = std::max(peakCacheBytes, pipeline.snapshot().memoryCost);
        // The photographer looks, then presses the next key.
        const qint64 remaining = interval - clock.elapsed();
        if (remaining > 0) {
            QEventLoop wait;
            QTimer::singleShot(int(remaining), &wait, &QEventLoop::quit);
            wait.exec();
        }
        peakRss = std::max(peakRss, residentKiB());
    }

    const double runSeconds = double(runClock.nsecsElapsed()) / 1e9;
    const double cpuSeconds = processCpuSeconds() - cpuBefore;
    pipeline.waitForDiskCache();
    std::lock_guard lock(renders.mutex);
    std::printf("{\"shots\":%d,\"intervalMs\":%d,\"failures\":%d,\"p50Ms\":%.2f,\"p90Ms\":%.2f,\"p95Ms\":%.2f,\"p99Ms\":%.2f,\"maxMs\":%.2f,"
                "\"firstMs\":%.2f,\"peakRssMiB\":%.1f,\"rssBeforeRunMiB\":%.1f,\"peakMemoryCacheMiB\":%.1f,\"renders\":%zu,\"rendersCancelled\":%d,"
                "\"renderWallP50Ms\":%.1f,\"renderWallP95Ms\":%.1f,\"renderCpuP50Ms\":%.1f,\"renderCpuP95Ms\":%.1f,"
                "\"runWallS\":%.1f,\"runCpuS\":%.1f,\"loadAvgBefore\":%s,\"loadAvgAfter\":%s}\n",
                shots, interval, failures, percentile(latencies, 0.5), percentile(latencies, 0.9), percentile(latencies, 0.95),
                percentile(latencies, 0.99), *std::max_element(latencies.begin(), latencies.end()), latencies.front(),
                double(peakRss) / 1024.0, double(baseRss) / 1024.0, double(peakCacheBytes) / 1048576.0, renders.wall.size(), renders.cancelled,
                percentile(renders.wall, 0.5), percentile(renders.wall, 0.95), percentile(renders.cpu, 0.5), percentile(renders.cpu, 0.95),
                runSeconds, cpuSeconds, loadBefore.constData(), loadAverage().constData());
    return failures == 0 ? 0 : 1;
}
