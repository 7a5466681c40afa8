// Timed run of a whole trash transaction: prepare + commit of N rejected 1 MB files, with the
// journal's own share measured twice: the wall time of every system call on the journal file
// during the real run, and a journal-only run of the same records (encoding, hashing, writing,
// flushing). The journal's cost per file must not grow with N.
//
//   trash_bench [--files 300,3000] [--dir /path/on/the/disk/to/measure]

#include "trash/DurableTrashJournal.h"
#include "trash/FreedesktopTrash.h"
#include "trash/TrashTransactionCoordinator.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QHash>
#include <QMutex>
#include <QTemporaryDir>
#include <cstdio>
#include <cstring>
#include <fcntl.h>

using namespace kestrava;

namespace {

constexpr qint64 fileBytes = 1'000'000;

// Times every call on descriptors opened for the journal file.
class JournalTimingOps : public FileOps {
    template <class Call>
    auto timed(int fd, Call call)
    {
        if (!journalFds_.contains(fd))
            return call();
        QElapsedTimer timer;
        timer.start();
        auto result = call();
        nanoseconds_ += timer.nsecsElapsed();
        return result;
    }

public:
    qint64 nanoseconds() const { return nanoseconds_; }

    int open(const QByteArray& path, int flags, mode_t mode) override
    {
        QElapsedTimer timer;
        timer.start();
        const int fd = FileOps::open(path, flags, mode);
        if (path.endsWith(DurableTrashJournal::fileName)) {
            nanoseconds_ += timer.nsecsElapsed();
            if (fd >= 0)
                journalFds_.insert(fd, true);
        }
        return fd;
    }
    ssize_t read(int fd, void* buffer, size_t count) override { return timed(fd, [&] { return FileOps::read(fd, buffer, count); }); }
    ssize_t write(int fd, const void* buffer, size_t count) override { return timed(fd, [&] { return FileOps::write(fd, buffer, count); }); }
    int fsync(int fd) override { return timed(fd, [&] { return FileOps::fsync(fd); }); }
    int fstat(int fd, struct stat* info) override { return timed(fd, [&] { return FileOps::fstat(fd, info); }); }
    int close(int fd) override
    {
        const bool journal = journalFds_.remove(fd) > 0;
        QElapsedTimer timer;
        timer.start();
        const int result = FileOps::close(fd);
        if (journal)
            nanoseconds_ += timer.nsecsElapsed();
        return result;
    }

private:
    QHash<int, bool> journalFds_;
    qint64 nanoseconds_ = 0;
};

QList<TrashGroup> makeFiles(const QString& folder, int count)
{
    QDir().mkpath(folder);
    QByteArray bytes(fileBytes, '\0');
    quint32 state = 12345;
    for (char& c : bytes) {
        state = state * 1664525u + 1013904223u;
        c = char(state >> 24);
    }
    QList<TrashGroup> groups;
    for (int i = 0; i < count; ++i) {
        const QString path = QStringLiteral("%1/IMG_%2.jpg").arg(folder).arg(i, 5, 10, QLatin1Char('0'));
        QByteArray content = bytes;
        std::memcpy(content.data(), &i, sizeof i);
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
            qFatal("cannot write %s", qPrintable(path));
        const FileUrl url = FileUrl::fromLocalPath(path);
        groups.append(TrashGroup{QUuid::createUuid(), {{url, url.fileName()}}, std::nullopt});
    }
    return groups;
}

// Skips the flush, so that what remains is the journal's own work (verification, encoding,
// hashing, writing), free of the disk's and the machine's noise.
class NoFlushOps : public FileOps {
public:
    int fsync(int) override { return 0; }
};

// The same seven records per file that a transaction writes, with nothing else around them.
double journalOnlyMillisecondsPerFile(const QString& base, const TrashPreparation& sample, int count, FileOps& ops)
{
    const QUuid session = QUuid::createUuid();
    DurableTrashJournal journal(base, session, ops);
    const TrashEntry& model = sample.entries.first();
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < count; ++i) {
        TrashEntry entry = model;
        entry.id = QUuid::createUuid();
        for (auto state : {TrashTransactionState::planned, TrashTransactionState::stagingIntent, TrashTransactionState::stagedVerified,
                           TrashTransactionState::trashIntent, TrashTransactionState::trashedConfirmed,
                           TrashTransactionState::cleanupIntent, TrashTransactionState::stageCleaned})
            journal.append(state, entry, session);
    }
    return double(timer.nsecsElapsed()) / 1e6 / count;
}

// The plain system calls a transaction cannot avoid, measured in the same run for comparison:
// one small appended line made durable with fsync.
double plainFsyncMilliseconds(const QString& root)
{
    const QByteArray path = QFile::encodeName(root + QStringLiteral("/plain-fsync"));
    FileOps& ops = FileOps::system();
    const int fd = ops.open(path, O_WRONLY | O_CREAT | O_APPEND, 0600);
    const QByteArray line(400, 'x');
    constexpr int rounds = 200;
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < rounds; ++i) {
        if (ops.write(fd, line.constData(), size_t(line.size())) != line.size() || ops.fsync(fd) != 0)
            qFatal("plain fsync failed");
    }
    const double ms = double(timer.nsecsElapsed()) / 1e6 / rounds;
    ops.close(fd);
    return ms;
}

struct Figures {
    int files = 0;
    double prepareMsPerFile = 0, commitMsPerFile = 0, journalIoMsPerFile = 0, journalOnlyMsPerFile = 0, journalCpuMsPerFile = 0,
           fsyncMs = 0;
};

Figures run(const QString& root, int count)
{
    const QString photos = root + QStringLiteral("/photos");
    const QList<TrashGroup> groups = makeFiles(photos, count);
    qputenv("XDG_DATA_HOME", (root + QStringLiteral("/xdg")).toUtf8());

    JournalTimingOps ops;
    TrashTransactionOptions options;
    options.fileOps = &ops;
    const QUuid session = QUuid::createUuid();
    const QString journalBase = root + QStringLiteral("/journal");

    QElapsedTimer timer;
    timer.start();
    const TrashPreparation prepared = TrashTransactionCoordinator::prepare(
        session, groups, FileUrl::fromLocalPath(root + QStringLiteral("/result")), journalBase,
        FreedesktopTrashCapabilityChecker(), {}, options);
    const qint64 prepareNs = timer.nsecsElapsed();
    timer.restart();
    const TrashPreparation committed = TrashTransactionCoordinator::commit(
        prepared, journalBase, FreedesktopTrashService(), FreedesktopTrashReceiptValidator(), {}, options);
    const qint64 commitNs = timer.nsecsElapsed();
    for (const auto& entry : committed.entries)
        if (entry.state != TrashTransactionState::stageCleaned)
            qFatal("entry not finished");

    Figures figures;
    figures.files = count;
    figures.prepareMsPerFile = double(prepareNs) / 1e6 / count;
    figures.commitMsPerFile = double(commitNs) / 1e6 / count;
    figures.journalIoMsPerFile = double(ops.nanoseconds()) / 1e6 / count;
    figures.journalOnlyMsPerFile = journalOnlyMillisecondsPerFile(journalBase, prepared, count, FileOps::system());
    NoFlushOps noFlush;
    figures.journalCpuMsPerFile = journalOnlyMillisecondsPerFile(journalBase, prepared, count, noFlush);
    figures.fsyncMs = plainFsyncMilliseconds(root);
    return figures;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QList<int> counts{300, 3000};
    QString dir = QDir::tempPath();
    const QStringList args = app.arguments();
    for (int i = 1; i + 1 < args.size(); i += 2) {
        if (args[i] == QLatin1String("--files")) {
            counts.clear();
            for (const QString& n : args[i + 1].split(QLatin1Char(',')))
                counts.append(n.toInt());
        } else if (args[i] == QLatin1String("--dir")) {
            dir = args[i + 1];
        }
    }

    std::printf("%6s %12s %12s %12s %14s %16s %16s %14s\n", "files", "prepare/f", "commit/f", "total/f", "journal I/O/f",
                "journal only/f", "journal CPU/f", "plain fsync");
    QList<Figures> all;
    for (int count : counts) {
        QTemporaryDir root(dir + QStringLiteral("/kestrava-trash-bench-XXXXXX"));
        const Figures f = run(root.path(), count);
        all.append(f);
        std::printf("%6d %10.3f ms %10.3f ms %10.3f ms %12.3f ms %14.3f ms %14.3f ms %12.3f ms\n", f.files, f.prepareMsPerFile,
                    f.commitMsPerFile, f.prepareMsPerFile + f.commitMsPerFile, f.journalIoMsPerFile, f.journalOnlyMsPerFile,
                    f.journalCpuMsPerFile, f.fsyncMs);
        std::fflush(stdout);
    }
    if (all.size() >= 2) {
        const Figures& small = all.first();
        const Figures& large = all.last();
        std::printf("journal share per file, %d vs %d files: I/O in the run %.2fx, journal only %.2fx, journal CPU %.2fx (limit 1.5x)\n",
                    large.files, small.files, large.journalIoMsPerFile / small.journalIoMsPerFile,
                    large.journalOnlyMsPerFile / small.journalOnlyMsPerFile, large.journalCpuMsPerFile / small.journalCpuMsPerFile);
    }
    return 0;
}
