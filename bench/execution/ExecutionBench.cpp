// Sort execution against plain tools, in one run on one disk:
//   1. safeCopy + fileSize of N MB in F files      vs  cp -r + sync              (target ≤ 1.3x)
//      the same with the journal the application keeps (a flushed line per file before and after)
//   2. safeCopy + sha256, read back from storage   vs  cp -r + sync              (target ≤ 2.0x)
//                                                  vs  cp -r + sync + sha256sum over both trees (≥ 3x faster)
//   3. same-volume moveOriginals of 10,000 small files: time per file, bare and with one
//      flushed journal line per record (what the session journal costs)
//   4. peak memory while copying one large file (flat: chunked)
// Before every timed copy the sources' cached pages are dropped, so each contender reads from
// the disk. Disk use: the sources plus one copy at a time; everything is removed at the end.
//
// execution_bench [--dir DIR] [--total-mb 2000] [--files 400] [--small 10000] [--big-mb 1024]
//                 [--rounds 2] [--only copies|sha256|size|passes|moves|memory]
//   (sha256, size: that copy alone, for profiling; passes: each pass of a verified copy alone, the floor)

#include "SinglePasses.h"

#include "execution/ResumableSortExecutor.h"

#include "platform/DurableFile.h"

#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <cstdio>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

using namespace kestrava;
namespace Executor = kestrava::ResumableSortExecutor;

namespace {

QString argument(const QStringList& args, const QString& name, const QString& fallback)
{
    const qsizetype at = args.indexOf(name);
    return at >= 0 && at + 1 < args.size() ? args[at + 1] : fallback;
}

void writeRandomFile(const QString& path, qint64 size, quint32 seed)
{
    QRandomGenerator random(seed);
    QByteArray chunk(1 << 20, Qt::Uninitialized);
    QFile file(path);
    file.open(QIODevice::WriteOnly);
    for (qint64 written = 0; written < size;) {
        random.fillRange(reinterpret_cast<quint32*>(chunk.data()), chunk.size() / 4);
        const qint64 n = std::min<qint64>(chunk.size(), size - written);
        file.write(chunk.constData(), n);
        written += n;
    }
    file.close();
}

QStringList filesBelow(const QString& root)
{
    QStringList files;
    QDirIterator it(root, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext())
        files.append(it.next());
    files.sort();
    return files;
}

// Drops the clean cached pages of every file below `root` (after a sync, all of them).
void dropCache(const QString& root)
{
    ::sync();
    for (const QString& path : filesBelow(root)) {
        const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
        if (fd >= 0) {
            ::posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
            ::close(fd);
        }
    }
}

// The disk's own counters (/sys/dev/block/MAJ:MIN/stat): sectors read and written and the time it
// had requests in flight. Busy for the whole wall time means the disk is the limit, not the code.
struct DiskCounters {
    double readMB = 0;
    double writtenMB = 0;
    double busySeconds = 0;
};

QString diskStatPath;

DiskCounters diskCounters()
{
    QFile file(diskStatPath);
    if (diskStatPath.isEmpty() || !file.open(QIODevice::ReadOnly))
        return {};
    const QList<QByteArray> fields = file.readAll().simplified().split(' ');
    if (fields.size() < 10)
        return {};
    return {fields[2].toDouble() * 512 / 1e6, fields[6].toDouble() * 512 / 1e6, fields[9].toDouble() / 1e3};
}

QString diskStatFor(const QString& directory)
{
    struct stat info {};
    if (::stat(QFile::encodeName(directory).constData(), &info) != 0)
        return {};
    return QString("/sys/dev/block/%1:%2/stat").arg(major(info.st_dev)).arg(minor(info.st_dev));
}

// What the disk did during the last timed section (its cleanup left out).
DiskCounters lastTimedDisk;

DiskCounters operator-(const DiskCounters& after, const DiskCounters& before)
{
    return {after.readMB - before.readMB, after.writtenMB - before.writtenMB, after.busySeconds - before.busySeconds};
}

double shell(const QString& command)
{
    const DiskCounters before = diskCounters();
    QElapsedTimer timer;
    timer.start();
    QProcess process;
    process.start("/bin/sh", {"-c", command});
    process.waitForFinished(-1);
    lastTimedDisk = diskCounters() - before;
    if (process.exitCode() != 0)
        std::fprintf(stderr, "command failed: %s\n%s", qPrintable(command), process.readAllStandardError().constData());
    return double(timer.nsecsElapsed()) / 1e9;
}

QString quoted(const QString& path)
{
    return QLatin1Char('\'') + path + QLatin1Char('\'');
}

QList<PhotoItem> photosBelow(const QString& root)
{
    QList<PhotoItem> items;
    for (const QString& path : filesBelow(root)) {
        const QFileInfo info(path);
        PhotoItem item;
        item.sourceURL = FileUrl::fromLocalPath(path);
        item.relativePath = QDir(root).relativeFilePath(path);
        item.formatGroup = formatGroupForFileName(info.fileName());
        item.decision = PhotoDecision::keep;
        item.fileSize = info.size();
        item.modificationDate = info.lastModified().toUTC();
        items.append(item);
    }
    return items;
}

double runExecutor(const QList<PhotoItem>& items, const QString& destination, SortOperationMode mode,
                   VerificationMode verification, const Executor::RecordHandler& record = {})
{
    SortOptions options;
    options.destinationRoot = FileUrl::fromLocalPath(destination);
    options.groupByDate = false;
    options.operationMode = mode;
    options.verificationMode = verification;
    const SortExecutionPlan plan = Executor::buildPlan(items, options, {});
    const DiskCounters before = diskCounters();
    QElapsedTimer timer;
    timer.start();
    Executor::ExecutionHandlers handlers;
    handlers.record = record;
    const SortResult result = Executor::executeSynchronously(plan, true, handlers);
    // The plain tools' time ends with sync; so does ours, for a fair comparison of what is on disk.
    ::sync();
    const double seconds = double(timer.nsecsElapsed()) / 1e9;
    lastTimedDisk = diskCounters() - before;
    if (!result.errors.isEmpty())
        std::fprintf(stderr, "executor errors: %s\n", qPrintable(result.errors.first()));
    return seconds;
}

// Wall time and the CPU time of this process and its finished children (cp, sync, sha256sum):
// on a shared machine the wall time alone cannot tell a slow program from a starved one.
struct Timing {
    double wall = 1e9;
    double user = 0;
    double system = 0;
    long pageFaults = 0; // this process only
    DiskCounters disk;
    void keepBest(const Timing& other)
    {
        if (other.wall < wall)
            *this = other;
    }
    QString text() const
    {
        return QString::asprintf("%7.2f s (cpu %5.2f user %5.2f sys, %ld page faults; disk %4.0f MB read %4.0f MB written, "
                                 "busy %4.2f s)",
                                 wall, user, system, pageFaults, disk.readMB, disk.writtenMB, disk.busySeconds);
    }
};

double seconds(const timeval& time)
{
    return double(time.tv_sec) + double(time.tv_usec) / 1e6;
}

template<typename Work>
Timing timed(Work work)
{
    rusage selfBefore {}, childrenBefore {}, selfAfter {}, childrenAfter {};
    ::getrusage(RUSAGE_SELF, &selfBefore);
    ::getrusage(RUSAGE_CHILDREN, &childrenBefore);
    const double wall = work();
    ::getrusage(RUSAGE_SELF, &selfAfter);
    ::getrusage(RUSAGE_CHILDREN, &childrenAfter);
    Timing timing;
    timing.wall = wall;
    timing.disk = lastTimedDisk;
    timing.pageFaults = selfAfter.ru_minflt - selfBefore.ru_minflt + selfAfter.ru_majflt - selfBefore.ru_majflt;
    timing.user = seconds(selfAfter.ru_utime) - seconds(selfBefore.ru_utime) + seconds(childrenAfter.ru_utime)
        - seconds(childrenBefore.ru_utime);
    timing.system = seconds(selfAfter.ru_stime) - seconds(selfBefore.ru_stime) + seconds(childrenAfter.ru_stime)
        - seconds(childrenBefore.ru_stime);
    return timing;
}

QString loadAverage()
{
    QFile file(QStringLiteral("/proc/loadavg"));
    return file.open(QIODevice::ReadOnly) ? QString::fromLatin1(file.readAll()).trimmed() : QStringLiteral("unknown");
}

long peakRssKiB()
{
    rusage usage {};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

} // namespace

int main(int argc, char** argv)
{
    QStringList args;
    for (int i = 1; i < argc; ++i)
        args.append(QString::fromLocal8Bit(argv[i]));
    const QString base = argument(args, "--dir", QDir::currentPath());
    const qint64 totalMB = argument(args, "--total-mb", "2000").toLongLong();
    const int fileCount = argument(args, "--files", "400").toInt();
    const int smallCount = argument(args, "--small", "10000").toInt();
    const qint64 bigMB = argument(args, "--big-mb", "1024").toLongLong();
    const int rounds = argument(args, "--rounds", "2").toInt();
    const QString only = argument(args, "--only", QString());
    const auto wanted = [&](const char* part) { return only.isEmpty() || only == QLatin1String(part); };

    QTemporaryDir work(base + "/kestrava-execution-bench-XXXXXX");
    if (!work.isValid())
        return 1;
    diskStatPath = diskStatFor(work.path());
    const QString source = work.path() + "/src";
    const QString target = work.path() + "/dst";
    QDir().mkpath(source);

    const qint64 fileSize = totalMB * 1000 * 1000 / fileCount;
    const bool oneCopyAlone = only == QLatin1String("sha256") || only == QLatin1String("size");
    const bool passesAlone = only == QLatin1String("passes");
    for (int i = 0; i < (wanted("copies") || oneCopyAlone || passesAlone ? fileCount : 0); ++i)
        writeRandomFile(QString("%1/IMG_%2.CR2").arg(source).arg(i, 4, 10, QLatin1Char('0')), fileSize, quint32(i + 1));
    const QList<PhotoItem> items = photosBelow(source);
    std::printf("%d files, %.0f MB in total, in %s\n", fileCount, double(fileSize * fileCount) / 1e6, qPrintable(work.path()));

    const auto cleanTarget = [&] { QDir(target).removeRecursively(); ::sync(); };
    const auto timedCp = [&] {
        dropCache(source);
        const double seconds = shell("cp -r " + quoted(source) + " " + quoted(target) + " && sync");
        cleanTarget();
        return seconds;
    };
    const auto timedCpHash = [&] {
        dropCache(source);
        const double seconds = shell("cp -r " + quoted(source) + " " + quoted(target) + " && sync && find "
                                     + quoted(source) + " " + quoted(target) + " -type f -print0 | xargs -0 sha256sum > /dev/null");
        cleanTarget();
        return seconds;
    };
    const auto timedOurs = [&](VerificationMode verification) {
        dropCache(source);
        const double seconds = runExecutor(items, target, SortOperationMode::safeCopy, verification);
        cleanTarget();
        return seconds;
    };

    // As the application runs it: each plan entry's pending record journaled (one flushed line
    // each) before the run, and each outcome after its file.
    const auto timedJournaled = [&] {
        dropCache(source);
        const QString journal = work.path() + "/journal.jsonl";
        QElapsedTimer timer;
        timer.start();
        for (const PhotoItem& item : items)
            durableAppendLine(journal, item.sourceURL.path().toUtf8() + " pending\n");
        const double seconds = double(timer.nsecsElapsed()) / 1e9
            + runExecutor(items, target, SortOperationMode::safeCopy, VerificationMode::fileSize,
                          [&](const ExecutionRecord& record) {
                              durableAppendLine(journal, record.sourcePath.toUtf8() + " completed\n");
                          });
        QFile::remove(journal);
        cleanTarget();
        return seconds;
    };

    const double mb = double(fileSize * fileCount) / 1e6;
    if (wanted("copies")) {
        // Best of each over the rounds, alternating so that drift of the disk hits all contenders.
        Timing cp, cpHash, size, journaled, sha;
        for (int round = 0; round < rounds; ++round) {
            cp.keepBest(timed(timedCp));
            size.keepBest(timed([&] { return timedOurs(VerificationMode::fileSize); }));
            journaled.keepBest(timed(timedJournaled));
            sha.keepBest(timed([&] { return timedOurs(VerificationMode::sha256); }));
            cpHash.keepBest(timed(timedCpHash));
        }
        std::printf("cp -r + sync                    %s  %6.0f MB/s\n", qPrintable(cp.text()), mb / cp.wall);
        std::printf("cp -r + sync + sha256sum both   %s\n", qPrintable(cpHash.text()));
        std::printf("safeCopy fileSize               %s  %6.0f MB/s  %.2fx cp+sync (target <= 1.3x)\n",
                    qPrintable(size.text()), mb / size.wall, size.wall / cp.wall);
        std::printf("safeCopy fileSize, journaled    %s  %6.0f MB/s  %.2fx cp+sync (two flushed lines per file)\n",
                    qPrintable(journaled.text()), mb / journaled.wall, journaled.wall / cp.wall);
        std::printf("safeCopy sha256 (read back)     %s  %6.0f MB/s  %.2fx cp+sync (target <= 2.0x), "
                    "%.2fx faster than cp+sync+sha256sum (target >= 3x)\n",
                    qPrintable(sha.text()), mb / sha.wall, sha.wall / cp.wall, cpHash.wall / sha.wall);
        std::printf("load average                    %s\n", qPrintable(loadAverage()));
    }
    if (oneCopyAlone) {
        const bool hashing = only == QLatin1String("sha256");
        for (int round = 0; round < rounds; ++round) {
            const Timing copy = timed([&] { return timedOurs(hashing ? VerificationMode::sha256 : VerificationMode::fileSize); });
            std::printf("safeCopy %-22s %s  %6.0f MB/s  load %s\n", hashing ? "sha256 (read back)" : "fileSize",
                        qPrintable(copy.text()), mb / copy.wall, qPrintable(loadAverage()));
        }
    }
    if (passesAlone)
        reportSinglePasses(filesBelow(source), work.path());
    QDir(source).removeRecursively();

    if (wanted("moves") && smallCount > 0) {
        // Same-volume moves of small files. A run journals two flushed lines per file: the
        // pending record of the plan before the run and the outcome after the file. Those two
        // flushes are the floor; the executor's own work should vanish beside them.
        const QString small = work.path() + "/small";
        QDir().mkpath(small);
        const auto makeSmall = [&] {
            for (int i = 0; i < smallCount; ++i)
                writeRandomFile(QString("%1/DSC_%2.JPG").arg(small).arg(i, 5, 10, QLatin1Char('0')), 4096, quint32(i));
            ::sync();
            return photosBelow(small);
        };
        QList<PhotoItem> smallItems = makeSmall();
        const double bare = runExecutor(smallItems, target, SortOperationMode::moveOriginals, VerificationMode::fileSize);
        cleanTarget();

        const QString journal = work.path() + "/journal.jsonl";
        const auto journalLine = [&](const QString& path, const char* status) {
            durableAppend(journal, path.toUtf8() + ' ' + status + '\n');
        };
        QElapsedTimer timer;
        timer.start();
        for (const PhotoItem& item : smallItems) {
            journalLine(item.sourceURL.path(), "pending");
            journalLine(item.sourceURL.path(), "completed");
        }
        const double flushesOnly = double(timer.nsecsElapsed()) / 1e9;
        QFile::remove(journal);

        smallItems = makeSmall();
        timer.restart();
        for (const PhotoItem& item : smallItems)
            journalLine(item.sourceURL.path(), "pending");
        const double journaled = timer.nsecsElapsed() / 1e9
            + runExecutor(smallItems, target, SortOperationMode::moveOriginals, VerificationMode::fileSize,
                          [&](const ExecutionRecord& record) { journalLine(record.sourcePath, "completed"); });
        cleanTarget();
        QFile::remove(journal);
        std::printf("same-volume move, %d files: %.1f us/file executor alone, %.1f us/file for two flushed journal "
                    "lines alone, %.1f us/file journaled run (%.2fx the two flushes)\n",
                    smallCount, bare / smallCount * 1e6, flushesOnly / smallCount * 1e6,
                    journaled / smallCount * 1e6, journaled / flushesOnly);
        std::printf("load average                    %s\n", qPrintable(loadAverage()));
    }

    if (wanted("memory")) {
        // One large file (sha256: three buffers for copy and hashing, three for the read-back).
        QDir().mkpath(source);
        writeRandomFile(source + "/BIG.CR2", bigMB * 1000 * 1000, 99);
        const long before = peakRssKiB();
        dropCache(source);
        const double big = runExecutor(photosBelow(source), target, SortOperationMode::safeCopy, VerificationMode::sha256);
        std::printf("one %lld MB file, sha256          %7.2f s, peak RSS %ld MiB before, %ld MiB after\n", bigMB, big,
                    before / 1024, peakRssKiB() / 1024);
        cleanTarget();
    }
    return 0;
}
