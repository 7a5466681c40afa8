// Enriching 10,000 JPEG+RAW pairs (JPEG and RAW folders of one shoot) with capture dates:
// files per second, and the number of files opened per format, which shows that no RAW
// partner of a dated JPEG is opened. A second pass over the same list shows the cache.

#include "BenchFiles.h"

#include "preview/ExifDates.h"
#include "scanning/MetadataPipeline.h"
#include "scanning/generator/ShootImages.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <benchmark/benchmark.h>

#include <atomic>

using namespace kestrava;

namespace {

constexpr int pairs = 10000;

QList<PhotoItem> writePairs(const QString& root)
{
    QDir().mkpath(root + "/Shoot/JPEG");
    QDir().mkpath(root + "/Shoot/RAW");
    const QImage picture = shootgen::renderScene(QSize(160, 120), 3);
    QList<PhotoItem> photos;
    const QDateTime start(QDate(2024, 6, 1), QTime(9, 0, 0));
    for (int i = 0; i < pairs; ++i) {
        shootgen::CameraTags tags{"Canon", "Canon EOS R6", start.addSecs(i), 0};
        const QString name = QStringLiteral("IMG_%1").arg(i, 5, 10, QLatin1Char('0'));
        const QByteArray jpeg = shootgen::jpegWithExif(picture, 80, tags);
        const QByteArray raw = shootgen::rawCompanionBytes({QStringLiteral("CR3"), tags, quint64(i)});
        for (const auto& [relative, bytes, group] : {std::tuple{"Shoot/JPEG/" + name + ".JPG", jpeg, PhotoFormatGroup::jpeg},
                                                      std::tuple{"Shoot/RAW/" + name + ".CR3", raw, PhotoFormatGroup::raw}}) {
            QFile file(root + '/' + relative);
            file.open(QIODevice::WriteOnly);
            file.write(bytes);
            PhotoItem item;
            item.sourceURL = FileUrl::fromLocalPath(root + '/' + relative);
            item.relativePath = relative;
            item.formatGroup = group;
            item.fileSize = bytes.size();
            item.modificationDate = QDateTime(QDate(2024, 7, 1), QTime(12, 0, 0));
            item.captureDate = item.modificationDate;
            photos.append(item);
        }
    }
    return photos;
}

void BM_MetadataEnrichment10kPairs(benchmark::State& state)
{
    static const QList<PhotoItem> photos = writePairs(bench::scratchFolder() + "/pairs");
    std::atomic<int> jpegOpens{0}, rawOpens{0};
    MetadataPipeline::Options options;
    options.reader = [&](const QString& path) {
        (path.endsWith(QLatin1String(".CR3")) ? rawOpens : jpegOpens)++;
        return readCaptureDate(path);
    };
    double firstSeconds = 0, cachedSeconds = 0;
    int dated = 0;
    for (auto _ : state) {
        MetadataPipeline pipeline(options);
        QElapsedTimer timer;
        timer.start();
        const QList<PhotoItem> enriched = pipeline.enrich(photos).result();
        firstSeconds = timer.nsecsElapsed() / 1e9;
        timer.restart();
        pipeline.enrich(photos).waitForFinished();
        cachedSeconds = timer.nsecsElapsed() / 1e9;
        dated = int(std::count_if(enriched.begin(), enriched.end(), [](const PhotoItem& p) { return p.captureDate.date().year() == 2024 && p.captureDate.date().month() == 6; }));
    }
    state.counters["files"] = double(photos.size());
    state.counters["filesPerSecond"] = photos.size() / firstSeconds;
    state.counters["cachedPassMs"] = cachedSeconds * 1000;
    state.counters["jpegOpened"] = double(jpegOpens.load());
    state.counters["rawOpened"] = double(rawOpens.load());
    state.counters["dated"] = double(dated);
}
BENCHMARK(BM_MetadataEnrichment10kPairs)->Unit(benchmark::kMillisecond)->Iterations(1);

} // namespace
