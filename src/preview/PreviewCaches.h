#pragma once

// The two caches of rendered previews and the key they share.
//
// Disk cache layout: one baseline JPEG (quality 82) per key, named "<key>.jpg", directly in the
// cache folder. A file's modification time is its last use. The text field "source" of the JPEG
// records where its pixels came from ("embedded", "decoded", "developed"). Beside each preview
// may lie its focus map, "<key>.focus" (FocusCache.h). The folder is kept near 2 GiB by
// deleting the least recently used files, of either kind; nothing else lives there.

#include "PreviewPayload.h"

#include <QCache>
#include <QString>
#include <list>
#include <optional>

namespace kestrava {

// Lower-case hex SHA-256 of "<path>|<size>|<mtime seconds.nanoseconds>|<maxPixelSize>". A file
// that changes gets a new key; stale entries simply age out. Missing files count size and time 0.
QString previewCacheKey(const QString& path, int maxPixelSize);

// Decoded previews by key under a byte limit (bitmap bytes) and a count limit, least recently
// used evicted first. Not thread-safe: owned by the pipeline.
class MemoryPreviewCache {
public:
    MemoryPreviewCache(qint64 maxBytes, int maxCount);
    std::optional<PreviewPayload> find(const QString& key);
    void insert(const QString& key, const PreviewPayload& payload);
    bool remove(const QString& key);
    int count() const { return int(cache_.size()); }
    qint64 totalCost() const { return cache_.totalCost(); }

private:
    QCache<QString, PreviewPayload> cache_;
    std::list<QString> recency_; // front is most recent; may hold keys QCache already evicted
    int maxCount_;
};

class DiskPreviewCache {
public:
    static constexpr qint64 defaultByteLimit = 2147483648LL;

    // An empty folder disables the cache.
    explicit DiskPreviewCache(QString folder, qint64 byteLimit = defaultByteLimit);
    bool enabled() const { return !folder_.isEmpty(); }
    const QString& folder() const { return folder_; }
    qint64 byteLimit() const { return byteLimit_; }

    // Whether key.jpg exists; a stat, no reading.
    bool contains(const QString& key) const;
    // Loads key.jpg and marks it used now. nullopt when absent or undecodable.
    std::optional<PreviewPayload> load(const QString& key) const;
    // Writes key.jpg through a temporary file and a rename; the bytes written, 0 on any failure.
    qint64 save(const QString& key, const PreviewPayload& payload) const;
    // Deletes the oldest files until the folder holds at most the byte limit, and temporaries
    // of saves that never finished once an hour old; the total kept.
    qint64 prune() const;

private:
    QString folder_;
    qint64 byteLimit_;
};

} // namespace kestrava
