// Session store costs: one durable event append (against a bare open/write/fsync/close of the
// same line), replaying 100,000 events into 20,000 photos, and encoding and decoding a
// 20,000-photo snapshot (against Qt's JSON parser alone on the same bytes).
//
// The files go to a temporary folder in the working directory, so run the benchmark on the
// kind of disk the sessions live on (tmpfs would hide the flush).

#include "platform/DurableFile.h"
#include "session/SessionEvent.h"
#include "session/SessionReplay.h"
#include "session/SessionStore.h"

#include <QDir>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

using namespace kestrava;
using namespace Qt::StringLiterals;

namespace {

SortSession sessionWithPhotos(int count)
{
    SortSession session;
    session.id = QUuid::createUuid();
    session.createdAt = QDateTime(QDate(2026, 3, 1), QTime(8, 0), Qt::UTC);
    session.updatedAt = session.createdAt;
    session.sourceFolder = FileUrl::fromLocalPath(u"/home/anna/Bilder/Island 2026"_s);
    session.runFolderName = u"Kestrava-Ergebnis"_s;
    for (int i = 0; i < count; ++i) {
        PhotoItem photo;
        const QString name = u"Tag %1/DSC_%2.%3"_s.arg(i / 1000).arg(i, 5, 10, QLatin1Char('0')).arg(i % 2 ? u"NEF"_s : u"JPG"_s);
        photo.sourceURL = session.sourceFolder.appending(name);
        photo.relativePath = name;
        photo.formatGroup = i % 2 ? PhotoFormatGroup::raw : PhotoFormatGroup::jpeg;
        photo.captureDate = session.createdAt.addSecs(i);
        photo.modificationDate = session.createdAt.addSecs(i + 7);
        photo.fileSize = 25'000'000 + i;
        if (i % 3 == 0)
            photo.decision = PhotoDecision::keep;
        session.photos.append(photo);
    }
    return session;
}

// Keeps per-iteration latencies and reports their median and 99th percentile.
class Latencies {
public:
    void add(qint64 nanoseconds) { samples_.push_back(nanoseconds); }
    void report(benchmark::State& state)
    {
        std::sort(samples_.begin(), samples_.end());
        if (samples_.empty())
            return;
        state.counters["median_us"] = double(samples_[samples_.size() / 2]) / 1000.0;
        state.counters["p99_us"] = double(samples_[std::min(samples_.size() - 1, samples_.size() * 99 / 100)]) / 1000.0;
    }

private:
    std::vector<qint64> samples_;
};

void BM_EventAppend(benchmark::State& state)
{
    QTemporaryDir dir(QDir::currentPath() + u"/session-bench-XXXXXX"_s);
    SessionStore store(dir.path());
    const SortSession session = sessionWithPhotos(2);
    const QStringList paths{session.photos[0].sourceURL.path(), session.photos[1].sourceURL.path()};
    qint64 after = 0;
    Latencies latencies;
    QElapsedTimer timer;
    for (auto _ : state) {
        timer.start();
        after = store.append(SessionEventKind::decision, paths, PhotoDecision::del, std::nullopt, int(after % 1000), after,
                             session.id)
                    .result();
        latencies.add(timer.nsecsElapsed());
    }
    latencies.report(state);
}
BENCHMARK(BM_EventAppend)->Iterations(500)->Unit(benchmark::kMicrosecond);

// The floor: the same bytes with bare system calls on the calling thread.
void BM_PlainAppendAndFsync(benchmark::State& state)
{
    QTemporaryDir dir(QDir::currentPath() + u"/session-bench-XXXXXX"_s);
    const QByteArray path = QFile::encodeName(dir.path() + u"/plain.jsonl"_s);
    const QByteArray line = R"({"currentIndex":12,"decision":"delete","kind":"decision","sequence":12,"sourcePaths":)"
                            R"(["/home/anna/Bilder/Island 2026/Tag 0/DSC_00000.JPG","/home/anna/Bilder/Island 2026/Tag 0/DSC_00001.NEF"],)"
                            R"("timestamp":"2026-03-01T09:30:00Z"})" "\n";
    Latencies latencies;
    QElapsedTimer timer;
    for (auto _ : state) {
        timer.start();
        const int fd = ::open(path.constData(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
        if (fd < 0 || ::write(fd, line.constData(), size_t(line.size())) != line.size() || ::fsync(fd) != 0) {
            state.SkipWithError("plain append failed");
            break;
        }
        ::close(fd);
        latencies.add(timer.nsecsElapsed());
    }
    latencies.report(state);
}
BENCHMARK(BM_PlainAppendAndFsync)->Iterations(500)->Unit(benchmark::kMicrosecond);

QByteArray eventLog(const SortSession& session, int eventCount)
{
    static constexpr PhotoDecision cycle[] = {PhotoDecision::keep, PhotoDecision::maybe, PhotoDecision::del};
    QByteArray log;
    log.reserve(qsizetype(eventCount) * 200);
    SessionEvent event;
    event.timestamp = session.createdAt;
    for (int i = 0; i < eventCount; ++i) {
        const int photo = int((qint64(i) * 7919) % session.photos.size());
        event.sequence = i + 1;
        event.timestamp = session.createdAt.addSecs(i);
        event.currentIndex = photo;
        event.sourcePaths = {session.photos[photo].sourceURL.path()};
        event.kind = i % 10 == 9 ? SessionEventKind::category : SessionEventKind::decision;
        event.decision = event.kind == SessionEventKind::decision ? std::optional(cycle[i % 3]) : std::nullopt;
        event.category = event.kind == SessionEventKind::category ? std::optional(u"Landschaft"_s) : std::nullopt;
        log += encodeEventLine(event);
        log += '\n';
    }
    return log;
}

void BM_Replay100kEventsInto20kPhotos(benchmark::State& state)
{
    const SortSession session = sessionWithPhotos(20'000);
    const QByteArray log = eventLog(session, 100'000);
    for (auto _ : state) {
        SortSession copy = session;
        replayEvents(copy, log);
        benchmark::DoNotOptimize(copy.lastEventSequence);
    }
}
BENCHMARK(BM_Replay100kEventsInto20kPhotos)->Unit(benchmark::kMillisecond);

// The whole resume path from disk: list, read and decode the snapshot, read and replay the log.
void BM_LoadLatestIncompleteFromDisk(benchmark::State& state)
{
    QTemporaryDir dir(QDir::currentPath() + u"/session-bench-XXXXXX"_s);
    const SortSession session = sessionWithPhotos(20'000);
    SessionStore store(dir.path());
    store.saveSnapshot(session).waitForFinished();
    writeAll(::open(QFile::encodeName(store.eventLogPath(session.id)).constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600),
             eventLog(session, 100'000).constData(), eventLog(session, 100'000).size(), u"log"_s);
    for (auto _ : state) {
        auto loaded = store.loadLatestIncomplete().result();
        if (!loaded || loaded->lastEventSequence != 100'000)
            state.SkipWithError("session did not load");
    }
}
BENCHMARK(BM_LoadLatestIncompleteFromDisk)->Unit(benchmark::kMillisecond);

void BM_EncodeSnapshot20kPhotos(benchmark::State& state)
{
    const SortSession session = sessionWithPhotos(20'000);
    for (auto _ : state)
        benchmark::DoNotOptimize(encodeSortSession(session).size());
}
BENCHMARK(BM_EncodeSnapshot20kPhotos)->Unit(benchmark::kMillisecond);

void BM_DecodeSnapshot20kPhotos(benchmark::State& state)
{
    const QByteArray bytes = encodeSortSession(sessionWithPhotos(20'000));
    for (auto _ : state)
        benchmark::DoNotOptimize(decodeSortSession(bytes).photos.size());
    state.counters["bytes"] = double(bytes.size());
}
BENCHMARK(BM_DecodeSnapshot20kPhotos)->Unit(benchmark::kMillisecond);

// The floor for decoding: Qt's JSON parser on the same bytes, without building the session.
void BM_QtJsonParseOnly20kPhotos(benchmark::State& state)
{
    const QByteArray bytes = encodeSortSession(sessionWithPhotos(20'000));
    for (auto _ : state)
        benchmark::DoNotOptimize(QJsonDocument::fromJson(bytes).isObject());
}
BENCHMARK(BM_QtJsonParseOnly20kPhotos)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
