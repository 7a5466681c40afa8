#include "PreviewCaches.h"

#include "platform/Sha256.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QImageWriter>
#include <QUuid>

#include <QScopeGuard>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace kestrava {

QString previewCacheKey(const QString& path, int maxPixelSize)
{
    struct stat st {};
    qint64 size = 0;
    qint64 seconds = 0;
    long nanoseconds = 0;
    if (::stat(QFile::encodeName(path).constData(), &st) == 0) {
        size = qint64(st.st_size);
        seconds = qint64(st.st_mtim.tv_sec);
        nanoseconds = st.st_mtim.tv_nsec;
    }
    const QString text = QStringLiteral("%1|%2|%3.%4|%5")
                             .arg(path)
                             .arg(size)
                             .arg(seconds)
                             .arg(qlonglong(nanoseconds), 9, 10, QLatin1Char('0'))
                             .arg(maxPixelSize);
    return Sha256::hex(Sha256::hash(text.toUtf8()));
}

MemoryPreviewCache::MemoryPreviewCache(qint64 maxBytes, int maxCount) : cache_(maxBytes), maxCount_(maxCount) {}

std::optional<PreviewPayload> MemoryPreviewCache::find(const QString& key)
{
    const PreviewPayload* payload = cache_.object(key);
    if (!payload)
        return std::nullopt;
    recency_.remove(key);
    recency_.push_front(key);
    PreviewPayload copy = *payload;
    copy.memoryCost = copy.image.sizeInBytes();
    return copy;
}

void MemoryPreviewCache::insert(const QString& key, const PreviewPayload& payload)
{
    const qint64 cost = payload.image.sizeInBytes();
    recency_.remove(key);
    if (!cache_.insert(key, new PreviewPayload(payload), cost))
        return; // larger than the whole cache
    recency_.push_front(key);
    // QCache only knows a cost limit; the count limit evicts in our own recency order.
    while (cache_.size() > maxCount_ && !recency_.empty()) {
        cache_.remove(recency_.back());
        recency_.pop_back();
    }
    if (recency_.size() > size_t(4 * maxCount_))
        recency_.remove_if([this](const QString& k) { return !cache_.contains(k); });
}

bool MemoryPreviewCache::remove(const QString& key)
{
    recency_.remove(key);
    return cache_.remove(key);
}

DiskPreviewCache::DiskPreviewCache(QString folder, qint64 byteLimit) : folder_(std::move(folder)), byteLimit_(byteLimit) {}

bool DiskPreviewCache::contains(const QString& key) const
{
    return enabled() && QFileInfo::exists(folder_ + QLatin1Char('/') + key + QStringLiteral(".jpg"));
}

std::optional<PreviewPayload> DiskPreviewCache::load(const QString& key) const
{
    if (!enabled())
        return std::nullopt;
    QFile file(folder_ + QLatin1Char('/') + key + QStringLiteral(".jpg"));
    if (!file.open(QIODevice::ReadWrite))
        return std::nullopt;
    QImageReader reader(&file, "jpeg");
    QImage image;
    if (!reader.read(&image) || image.isNull())
        return std::nullopt;
    file.setFileTime(QDateTime::currentDateTime(), QFileDevice::FileModificationTime);
    const auto source = enumFromRaw<PreviewSource>(image.text(QStringLiteral("source")));
    return PreviewPayload::of(std::move(image), source.value_or(PreviewSource::decoded));
}

qint64 DiskPreviewCache::save(const QString& key, const PreviewPayload& payload) const
{
    if (!enabled() || payload.image.isNull() || !QDir().mkpath(folder_))
        return 0;
    const QString target = folder_ + QLatin1Char('/') + key + QStringLiteral(".jpg");
    // A hidden temporary in the same folder, renamed into place: a reader never sees half a file.
    const QString temporary = folder_ + QStringLiteral("/.") + key + QLatin1Char('-')
                              + QUuid::createUuid().toString(QUuid::WithoutBraces) + QStringLiteral(".tmp");
    QImage image = payload.image;
    image.setText(QStringLiteral("source"), rawValue(payload.source));
    QImageWriter writer(temporary, "jpeg");
    writer.setQuality(82);
    if (!writer.write(image)) {
        QFile::remove(temporary);
        return 0;
    }
    const qint64 bytes = QFileInfo(temporary).size();
    if (::rename(QFile::encodeName(temporary).constData(), QFile::encodeName(target).constData()) != 0) {
        QFile::remove(temporary);
        return 0;
    }
    return bytes;
}

namespace {

// A save writes its temporary and renames it within moments; one this old was left by a
// process that ended mid-write and would otherwise lie there for ever.
constexpr qint64 staleTemporaryNs = qint64(3600) * 1000000000;

qint64 modifiedNs(const struct stat& info)
{
    return qint64(info.st_mtim.tv_sec) * 1000000000 + info.st_mtim.tv_nsec;
}

bool isTemporary(const char* name)
{
    const std::size_t length = std::strlen(name);
    return name[0] == '.' && length > 4 && std::strcmp(name + length - 4, ".tmp") == 0;
}

// Calls `visit(name, info)` for every regular file directly in the open folder.
template <typename Visit>
void forEachFile(DIR* folder, Visit visit)
{
    ::rewinddir(folder);
    while (const dirent* entry = ::readdir(folder)) {
        struct stat info {};
        if (::fstatat(::dirfd(folder), entry->d_name, &info, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(info.st_mode))
            visit(entry->d_name, info);
    }
}

} // namespace

qint64 DiskPreviewCache::prune() const
{
    if (!enabled())
        return 0;
    // Read straight from the folder, and only counted unless there is something to delete: a
    // full cache holds over 100,000 files, and a QFileInfo for each once cost about 100 MB of
    // the process's peak memory, which the allocator then kept.
    DIR* folder = ::opendir(QFile::encodeName(folder_).constData());
    if (!folder)
        return 0;
    const auto closeFolder = qScopeGuard([folder] { ::closedir(folder); });
    timespec now {};
    ::clock_gettime(CLOCK_REALTIME, &now);
    const qint64 nowNs = qint64(now.tv_sec) * 1000000000 + now.tv_nsec;
    qint64 total = 0;
    forEachFile(folder, [&](const char* name, const struct stat& info) {
        if (isTemporary(name) && nowNs - modifiedNs(info) > staleTemporaryNs && ::unlinkat(::dirfd(folder), name, 0) == 0)
            return;
        total += qint64(info.st_size);
    });
    if (total <= byteLimit_)
        return total;

    struct Entry {
        qint64 modified;
        qint64 size;
        std::string name;
    };
    std::vector<Entry> entries;
    total = 0;
    forEachFile(folder, [&](const char* name, const struct stat& info) {
        entries.push_back({modifiedNs(info), qint64(info.st_size), name});
        total += qint64(info.st_size);
    });
    std::stable_sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) { return a.modified < b.modified; });
    for (const Entry& entry : entries) {
        if (total <= byteLimit_)
            break;
        ::unlinkat(::dirfd(folder), entry.name.c_str(), 0);
        // Counted as gone even when the deletion failed: the estimate must not stall pruning.
        total -= entry.size;
    }
    return total;
}

} // namespace kestrava
