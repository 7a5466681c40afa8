// Each Kestrava call next to the plain system or library call it wraps, measured in the same
// run: the wrappers should cost nothing measurable on top of the work they do.

#include "platform/DurableFile.h"
#include "platform/Sha256.h"
#include "platform/VolumeInfo.h"

#include <QFile>
#include <QStorageInfo>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <fcntl.h>
#include <unistd.h>

using namespace kestrava;

namespace {

constexpr qint64 kFileSize = qint64(64) << 20;

// One 64 MiB file, written once and then served from the page cache.
const QString& sampleFile()
{
    static QTemporaryDir dir;
    static const QString path = [] {
        const QString p = dir.path() + "/sample.raw";
        QByteArray content(kFileSize, Qt::Uninitialized);
        for (qsizetype i = 0; i < content.size(); ++i)
            content[i] = char(i * 2654435761u >> 24);
        atomicReplace(p, content);
        return p;
    }();
    return path;
}

void BM_sha256OfFile(benchmark::State& state)
{
    const QString& path = sampleFile();
    for (auto _ : state)
        benchmark::DoNotOptimize(sha256OfFile(path));
    state.SetBytesProcessed(state.iterations() * kFileSize);
}
BENCHMARK(BM_sha256OfFile)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_plainReadAndEvpDigest(benchmark::State& state)
{
    const QByteArray path = QFile::encodeName(sampleFile());
    std::vector<char> buffer(size_t(4) << 20);
    for (auto _ : state) {
        const int fd = ::open(path.constData(), O_RDONLY | O_CLOEXEC);
        EVP_MD_CTX* context = EVP_MD_CTX_new();
        EVP_DigestInit_ex(context, EVP_sha256(), nullptr);
        ssize_t got = 0;
        while ((got = ::read(fd, buffer.data(), buffer.size())) > 0)
            EVP_DigestUpdate(context, buffer.data(), size_t(got));
        unsigned char digest[EVP_MAX_MD_SIZE];
        unsigned int length = 0;
        EVP_DigestFinal_ex(context, digest, &length);
        EVP_MD_CTX_free(context);
        ::close(fd);
        benchmark::DoNotOptimize(digest);
    }
    state.SetBytesProcessed(state.iterations() * kFileSize);
}
BENCHMARK(BM_plainReadAndEvpDigest)->Unit(benchmark::kMillisecond)->UseRealTime();

const QByteArray kRecord = QByteArray(180, 'r') + '\n';

void BM_durableAppend(benchmark::State& state)
{
    QTemporaryDir dir;
    const QString path = dir.path() + "/events.jsonl";
    for (auto _ : state)
        durableAppend(path, kRecord);
}
BENCHMARK(BM_durableAppend)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_plainAppendAndFsync(benchmark::State& state)
{
    QTemporaryDir dir;
    const QByteArray path = QFile::encodeName(dir.path() + "/events.jsonl");
    for (auto _ : state) {
        const int fd = ::open(path.constData(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
        benchmark::DoNotOptimize(::write(fd, kRecord.constData(), size_t(kRecord.size())));
        ::fsync(fd);
        ::close(fd);
    }
}
BENCHMARK(BM_plainAppendAndFsync)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_atomicReplace64KiB(benchmark::State& state)
{
    QTemporaryDir dir;
    const QString path = dir.path() + "/session.kestrava";
    const QByteArray document(64 << 10, 'd');
    for (auto _ : state)
        atomicReplace(path, document);
}
BENCHMARK(BM_atomicReplace64KiB)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_plainWriteFsyncRename64KiB(benchmark::State& state)
{
    QTemporaryDir dir;
    const QByteArray path = QFile::encodeName(dir.path() + "/session.kestrava");
    const QByteArray temporary = path + ".tmp";
    const QByteArray folder = QFile::encodeName(dir.path());
    const QByteArray document(64 << 10, 'd');
    for (auto _ : state) {
        const int fd = ::open(temporary.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        benchmark::DoNotOptimize(::write(fd, document.constData(), size_t(document.size())));
        ::fsync(fd);
        ::close(fd);
        ::rename(temporary.constData(), path.constData());
        const int dirFd = ::open(folder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        ::fsync(dirFd);
        ::close(dirFd);
    }
}
BENCHMARK(BM_plainWriteFsyncRename64KiB)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_volumeFacts(benchmark::State& state)
{
    const QString path = QFile::decodeName(QFile::encodeName(sampleFile()));
    for (auto _ : state)
        benchmark::DoNotOptimize(volumeFacts(path));
}
BENCHMARK(BM_volumeFacts)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_qStorageInfo(benchmark::State& state)
{
    const QString& path = sampleFile();
    for (auto _ : state) {
        QStorageInfo info(path);
        benchmark::DoNotOptimize(info.bytesAvailable());
        benchmark::DoNotOptimize(info.name());
    }
}
BENCHMARK(BM_qStorageInfo)->Unit(benchmark::kMicrosecond)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
