#include "PhotoInventoryScanner.h"

#include "model/RunFolderMarker.h"
#include "model/Text.h"

#include <QDir>
#include <QFileInfo>
#include <QMutex>
#include <QWaitCondition>
#include <QThreadPool>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace kestrava {

namespace {

// Closes a descriptor on every path out of a scope.
struct FdGuard {
    int fd = -1;
    ~FdGuard()
    {
        if (fd >= 0)
            ::close(fd);
    }
};

// The model's extension sets packed into integers (up to four lower-case ASCII bytes), so an
// entry can be classified from the raw directory name without building a QString for every
// file the scan ignores.
class ExtensionTable {
public:
    ExtensionTable()
    {
        auto add = [this](const QSet<QString>& set, PhotoFormatGroup group) {
            for (const QString& ext : set) {
                const QByteArray bytes = ext.toLatin1();
                maxLength_ = std::max(maxLength_, int(bytes.size()));
                entries_.push_back({pack(bytes.constData(), int(bytes.size())), group});
            }
        };
        add(jpegExtensions(), PhotoFormatGroup::jpeg);
        add(rawExtensions(), PhotoFormatGroup::raw);
        std::sort(entries_.begin(), entries_.end(), [](const Entry& a, const Entry& b) { return a.key < b.key; });
    }

    PhotoFormatGroup classify(const char* name, int length) const
    {
        const char* dot = static_cast<const char*>(::memrchr(name, '.', std::size_t(length)));
        if (!dot)
            return PhotoFormatGroup::other;
        const int extLength = int(name + length - dot - 1);
        if (extLength < 1 || extLength > maxLength_)
            return PhotoFormatGroup::other;
        const quint64 key = pack(dot + 1, extLength);
        const auto it = std::lower_bound(entries_.begin(), entries_.end(), key,
                                         [](const Entry& e, quint64 k) { return e.key < k; });
        return it != entries_.end() && it->key == key ? it->group : PhotoFormatGroup::other;
    }

private:
    struct Entry {
        quint64 key;
        PhotoFormatGroup group;
    };
    static quint64 pack(const char* bytes, int length)
    {
        quint64 key = quint64(length);
        for (int i = 0; i < length; ++i) {
            unsigned char c = static_cast<unsigned char>(bytes[i]);
            if (c >= 'A' && c <= 'Z')
                c = static_cast<unsigned char>(c + ('a' - 'A'));
            key = (key << 8) | c;
        }
        return key;
    }
    std::vector<Entry> entries_;
    int maxLength_ = 0;
};

const ExtensionTable& extensionTable()
{
    static const ExtensionTable table;
    return table;
}

// Strict UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF.
bool isValidUtf8(const unsigned char* s, std::size_t n)
{
    std::size_t i = 0;
    while (i < n) {
        const unsigned char c = s[i];
        if (c < 0x80) {
            ++i;
            continue;
        }
        std::size_t extra;
        unsigned char lo = 0x80, hi = 0xBF;
        if (c >= 0xC2 && c <= 0xDF) {
            extra = 1;
        } else if (c >= 0xE0 && c <= 0xEF) {
            extra = 2;
            if (c == 0xE0)
                lo = 0xA0;
            else if (c == 0xED)
                hi = 0x9F;
        } else if (c >= 0xF0 && c <= 0xF4) {
            extra = 3;
            if (c == 0xF0)
                lo = 0x90;
            else if (c == 0xF4)
                hi = 0x8F;
        } else {
            return false;
        }
        if (i + extra >= n)
            return false;
        if (s[i + 1] < lo || s[i + 1] > hi)
            return false;
        for (std::size_t k = 2; k <= extra; ++k)
            if (s[i + k] < 0x80 || s[i + k] > 0xBF)
                return false;
        i += extra + 1;
    }
    return true;
}

constexpr char resultFolderPrefix[] = "Kestrava-Ergebnis";
constexpr unsigned statxMask = STATX_TYPE | STATX_SIZE | STATX_MTIME | STATX_BTIME;

QDateTime fileDate(const struct statx& info)
{
    if (info.stx_mask & STATX_MTIME)
        return QDateTime::fromSecsSinceEpoch(info.stx_mtime.tv_sec, Qt::UTC);
    if (info.stx_mask & STATX_BTIME)
        return QDateTime::fromSecsSinceEpoch(info.stx_btime.tv_sec, Qt::UTC);
    return distantPast();
}

// One scan. The chosen folder is read on the calling thread (its failure is the scan's
// failure); the folders below are shared out between the calling thread and one pool thread,
// because listing and stat calls of a warm tree are CPU work that a second core halves. Each
// folder is read once by one of them. Sub-folders are opened by their path relative to the
// root rather than kept open, so the depth of a tree never costs descriptors.
class TreeWalk {
public:
    TreeWalk(int rootFd, QString rootPrefix) : rootFd_(rootFd), rootPrefix_(std::move(rootPrefix)) {}

    // Throws folderUnavailable when the chosen folder cannot be listed.
    void readRoot(const QString& rootPathForErrors)
    {
        const int rootCopy = ::dup(rootFd_);
        if (rootCopy < 0)
            throw PhotoScannerError::folderUnavailable(rootPathForErrors, errno);
        if (const int error = readDirectory(workers_[0], rootCopy, QByteArray()))
            throw PhotoScannerError::folderUnavailable(rootPathForErrors, error);
        pending_ = std::move(workers_[0].foundFolders);
        workers_[0].foundFolders.clear();
    }

    // False when canceled. `isCanceled` is only ever called on the calling thread.
    bool readSubfolders(const PhotoInventoryScanner::CancelCheck& isCanceled)
    {
        if (pending_.empty())
            return !(isCanceled && isCanceled());
        // Only a thread that is free right now helps; a busy pool must not delay the scan.
        helperRunning_ = true; // before the start: the helper may finish before tryStart returns
        if (!QThreadPool::globalInstance()->tryStart([this] {
                work(workers_[1], nullptr);
                QMutexLocker lock(&mutex_);
                helperRunning_ = false;
                wakeUp_.wakeAll();
            }))
            helperRunning_ = false;
        work(workers_[0], &isCanceled);
        QMutexLocker lock(&mutex_);
        while (helperRunning_)
            wakeUp_.wait(&mutex_);
        // The helper may have read every folder before this thread asked even once.
        return !stop_ && !(isCanceled && isCanceled());
    }

    PhotoScanOutcome takeOutcome()
    {
        PhotoScanOutcome outcome;
        outcome.items = std::move(workers_[0].items);
        outcome.items.append(std::move(workers_[1].items));
        for (const Worker& worker : workers_) {
            outcome.skippedUndecodableNames += worker.undecodable;
            outcome.skippedUnreadableFolders += worker.unreadable;
            outcome.unsupportedFiles += worker.unsupported;
            outcome.unsupportedExamples.append(worker.unsupportedExamples);
        }
        std::sort(outcome.unsupportedExamples.begin(), outcome.unsupportedExamples.end(),
                  [](const QString& a, const QString& b) { return text::compareNatural(a, b) < 0; });
        outcome.unsupportedExamples = outcome.unsupportedExamples.mid(0, PhotoScanOutcome::maxUnsupportedExamples);
        return outcome;
    }

private:
    struct Worker {
        std::vector<char> buffer = std::vector<char>(128 * 1024);
        QList<PhotoItem> items;
        std::vector<QByteArray> foundFolders;
        int undecodable = 0;
        int unreadable = 0;
        int unsupported = 0;
        QStringList unsupportedExamples;
    };

    void work(Worker& worker, const PhotoInventoryScanner::CancelCheck* isCanceled)
    {
        QMutexLocker lock(&mutex_);
        for (;;) {
            while (pending_.empty() && busy_ > 0 && !stop_)
                wakeUp_.wait(&mutex_);
            if (stop_ || (pending_.empty() && busy_ == 0)) {
                wakeUp_.wakeAll();
                return;
            }
            const QByteArray relative = std::move(pending_.back());
            pending_.pop_back();
            ++busy_;
            lock.unlock();

            const bool canceled = isCanceled && *isCanceled && (*isCanceled)();
            if (!canceled) {
                const int fd = ::openat(rootFd_, relative.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
                if (fd < 0)
                    ++worker.unreadable;
                else if (holdsRunFolderMarker(fd))
                    ::close(fd);
                else if (readDirectory(worker, fd, relative) != 0)
                    ++worker.unreadable;
            }

            lock.relock();
            --busy_;
            stop_ = stop_ || canceled;
            for (QByteArray& folder : worker.foundFolders)
                pending_.push_back(std::move(folder));
            worker.foundFolders.clear();
            wakeUp_.wakeAll();
        }
    }

    // Whatever the marker is (file, folder, link), its presence alone decides.
    static bool holdsRunFolderMarker(int fd)
    {
        struct stat info;
        return ::fstatat(fd, runFolderMarkerName, &info, AT_SYMLINK_NOFOLLOW) == 0;
    }

    // Takes ownership of `fd`. Returns 0, or the errno of a listing that could not be read.
    int readDirectory(Worker& worker, int fd, const QByteArray& relative)
    {
        FdGuard guard{fd};
        const QString relativeText = QString::fromUtf8(relative);
        for (;;) {
            const ssize_t got = ::getdents64(fd, worker.buffer.data(), worker.buffer.size());
            if (got < 0)
                return errno;
            if (got == 0)
                return 0;
            for (ssize_t offset = 0; offset < got;) {
                const auto* entry = reinterpret_cast<const struct dirent64*>(worker.buffer.data() + offset);
                offset += entry->d_reclen;
                visit(worker, fd, entry, relative, relativeText);
            }
        }
    }

    void visit(Worker& worker, int dirFd, const struct dirent64* entry, const QByteArray& relative,
               const QString& relativeText)
    {
        const char* name = entry->d_name;
        if (name[0] == '.')
            return;
        const int length = int(std::strlen(name));
        unsigned char type = entry->d_type;
        struct statx info;
        bool haveInfo = false;
        if (type == DT_UNKNOWN) {
            // Some file systems (older XFS, network mounts) do not tell the type in the listing.
            if (::statx(dirFd, name, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, statxMask, &info) != 0)
                return;
            haveInfo = true;
            type = S_ISDIR(info.stx_mode) ? DT_DIR : S_ISREG(info.stx_mode) ? DT_REG : DT_LNK;
        }
        if (type == DT_DIR) {
            if (std::strncmp(name, resultFolderPrefix, sizeof resultFolderPrefix - 1) == 0)
                return;
            if (!isValidUtf8(reinterpret_cast<const unsigned char*>(name), std::size_t(length))) {
                ++worker.undecodable;
                return;
            }
            QByteArray child;
            child.reserve(relative.size() + 1 + length);
            if (!relative.isEmpty())
                child.append(relative).append('/');
            child.append(name, length);
            worker.foundFolders.push_back(std::move(child));
            return;
        }
        if (type != DT_REG)
            return;
        const PhotoFormatGroup group = extensionTable().classify(name, length);
        if (group == PhotoFormatGroup::other) {
            // Counted only: a name is built for the first few, which is all a message shows.
            if (++worker.unsupported <= PhotoScanOutcome::maxUnsupportedExamples
                && isValidUtf8(reinterpret_cast<const unsigned char*>(name), std::size_t(length)))
                worker.unsupportedExamples.append(QString::fromUtf8(name, length));
            return;
        }
        if (!isValidUtf8(reinterpret_cast<const unsigned char*>(name), std::size_t(length))) {
            ++worker.undecodable;
            return;
        }
        if (!haveInfo && ::statx(dirFd, name, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, statxMask, &info) != 0)
            return; // vanished or unreadable attributes: treated as having no values
        if ((info.stx_mask & STATX_TYPE) && !S_ISREG(info.stx_mode))
            return;

        const QString fileName = QString::fromUtf8(name, length);
        PhotoItem item;
        item.relativePath = relativeText.isEmpty() ? fileName : relativeText + QLatin1Char('/') + fileName;
        item.sourceURL = FileUrl::fromLocalPath(rootPrefix_ + item.relativePath);
        item.formatGroup = group;
        item.fileSize = (info.stx_mask & STATX_SIZE) ? qint64(info.stx_size) : 0;
        item.modificationDate = fileDate(info);
        item.captureDate = item.modificationDate;
        item.captureDateOrigin = CaptureDateOrigin::fileDate;
        worker.items.append(std::move(item));
    }

    const int rootFd_;
    const QString rootPrefix_;
    Worker workers_[2];

    QMutex mutex_;
    QWaitCondition wakeUp_;
    std::vector<QByteArray> pending_; // folders still to read, relative to the root
    int busy_ = 0;                    // folders being read right now
    bool stop_ = false;
    bool helperRunning_ = false;
};

} // namespace

namespace PhotoInventoryScanner {

PhotoScanOutcome scanDetailed(const FileUrl& folder, const CancelCheck& isCanceled)
{
    const QString root = QDir::cleanPath(folder.path());
    if (root.isEmpty() || !root.startsWith(QLatin1Char('/')))
        throw PhotoScannerError::folderUnavailable(folder.path(), ENOENT);
    // The chosen folder itself may be a link (the user picked it); everything below is not followed.
    const int rootFd = ::open(QFile::encodeName(root).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (rootFd < 0)
        throw PhotoScannerError::folderUnavailable(root, errno);
    FdGuard guard{rootFd};

    const QString prefix = root.endsWith(QLatin1Char('/')) ? root : root + QLatin1Char('/');
    TreeWalk walk(rootFd, prefix);
    walk.readRoot(root);
    const bool completed = walk.readSubfolders(isCanceled);
    PhotoScanOutcome outcome = walk.takeOutcome();
    if (!completed) {
        outcome.items.clear();
        outcome.canceled = true;
        return outcome;
    }
    sortByRelativePath(outcome.items);
    return outcome;
}

QList<PhotoItem> scan(const FileUrl& folder)
{
    return scanDetailed(folder).items;
}

QList<PhotoItem> scan(const QString& folder)
{
    if (folder.isEmpty())
        throw PhotoScannerError::folderUnavailable(folder, ENOENT);
    return scan(FileUrl::fromLocalPath(QFileInfo(folder).absoluteFilePath()));
}

} // namespace PhotoInventoryScanner

} // namespace kestrava
