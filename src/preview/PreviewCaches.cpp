#include "PreviewCaches.h"

#include "platform/Sha256.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QImageWriter>
#include <QUuid>

#include <algorithm>
#include <sys/stat.h>
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

qint64 DiskPreviewCache::prune() const
{
    if (!enabled())
        return 0;
    struct Entry {
        QString path;
        qint64 size;
        QDateTime modified;
    };
    std::vector<Entry> entries;
    qint64 total = 0;
    const QFileInfoList infos = QDir(folder_).entryInfoList(QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot);
    for (const QFileInfo& info : infos) {
        const QDateTime modified = info.lastModified();
        entries.push_back({info.absoluteFilePath(), info.size(), modified.isValid() ? modified : QDateTime::fromSecsSinceEpoch(0)});
        total += info.size();
    }
    std::stable_sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) { return a.modified < b.modified; });
    for (const Entry& entry : entries) {
        if (total <= byteLimit_)
            break;
        QFile::remove(entry.path);
        // Counted as gone even when the deletion failed: the estimate must not stall pruning.
        total -= entry.size;
    }
    return total;
}

} // namespace kestrava
