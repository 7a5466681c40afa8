#include "SinglePasses.h"

#include "platform/Sha256.h"

#include <QElapsedTimer>
#include <QFile>
#include <QList>

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

constexpr size_t chunk = size_t(4) << 20;

struct Pass {
    double wall = 0;
    double cpu = 0;
};

double cpuSeconds()
{
    rusage usage {};
    ::getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec)
        + double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

template<typename Work>
Pass measured(Work work)
{
    const double cpuBefore = cpuSeconds();
    QElapsedTimer timer;
    timer.start();
    work();
    return {double(timer.nsecsElapsed()) / 1e9, cpuSeconds() - cpuBefore};
}

void dropCached(const QStringList& files)
{
    ::sync();
    for (const QString& path : files) {
        const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
        ::posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
        ::close(fd);
    }
}

// Reads every file once: through the cache with the read-ahead a whole-file request gives, or
// past it one chunk at a time.
qint64 readAll(const QStringList& files, char* buffer, bool direct)
{
    qint64 total = 0;
    for (const QString& path : files) {
        const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | (direct ? O_DIRECT : 0));
        if (!direct) {
            ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
            ::posix_fadvise(fd, 0, 0, POSIX_FADV_WILLNEED);
        }
        for (ssize_t got; (got = ::read(fd, buffer, chunk)) > 0;)
            total += got;
        ::close(fd);
    }
    return total;
}

} // namespace

void reportSinglePasses(const QStringList& sources, const QString& scratchFolder)
{
    void* memory = nullptr;
    if (::posix_memalign(&memory, 4096, chunk) != 0)
        return;
    char* buffer = static_cast<char*>(memory);
    for (size_t i = 0; i < chunk; ++i)
        buffer[i] = char(i * 31 + i / 4096);

    QList<qint64> sizes;
    for (const QString& path : sources)
        sizes.append(QFile(path).size());
    qint64 total = 0;
    for (const qint64 size : sizes)
        total += size;
    const double mb = double(total) / 1e6;

    dropCached(sources);
    const Pass readCached = measured([&] { readAll(sources, buffer, false); });
    dropCached(sources);
    const Pass readDirect = measured([&] { readAll(sources, buffer, true); });

    QStringList copies;
    for (qsizetype i = 0; i < sources.size(); ++i)
        copies.append(QString("%1/pass-%2").arg(scratchFolder).arg(i));
    const Pass write = measured([&] {
        for (qsizetype i = 0; i < copies.size(); ++i) {
            const int fd = ::open(QFile::encodeName(copies[i]).constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
            for (qint64 left = sizes[i]; left > 0;) {
                const ssize_t put = ::write(fd, buffer, size_t(std::min<qint64>(left, qint64(chunk))));
                if (put <= 0)
                    break;
                left -= put;
            }
            ::fsync(fd);
            ::close(fd);
        }
    });
    dropCached(copies);
    const Pass readBack = measured([&] { readAll(copies, buffer, false); });
    for (const QString& copy : copies)
        QFile::remove(copy);

    // Source and copy: the digest is taken twice.
    const Pass hashing = measured([&] {
        kestrava::Sha256 hasher;
        for (qint64 hashed = 0; hashed < 2 * total; hashed += qint64(chunk))
            hasher.update(buffer, chunk);
        hasher.finalize();
    });
    std::free(memory);

    const auto line = [&](const char* name, const Pass& pass) {
        std::printf("  %-44s %6.3f s (cpu %5.3f s)  %6.0f MB/s\n", name, pass.wall, pass.cpu, mb / pass.wall);
    };
    std::printf("each pass alone, %.0f MB:\n", mb);
    line("read the sources through the cache", readCached);
    line("read the sources past the cache, 4 MiB each", readDirect);
    line("write and flush the copies", write);
    line("read the copies back through the cache", readBack);
    std::printf("  %-44s %6.3f s (cpu, twice the data)\n", "SHA-256", hashing.cpu);
    std::printf("  three disk passes one after the other: %.3f s\n", readCached.wall + write.wall + readBack.wall);
}
