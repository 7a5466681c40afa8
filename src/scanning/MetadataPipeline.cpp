#include "MetadataPipeline.h"

#include "preview/ExifDates.h"
#include "preview/PreviewPipeline.h"

#include <QPromise>
#include <QtConcurrent/QtConcurrentRun>

namespace kestrava {

MetadataPipeline::MetadataPipeline() : MetadataPipeline(Options{}) {}

MetadataPipeline::MetadataPipeline(Options options) : options_(std::move(options))
{
    if (!options_.reader)
        options_.reader = &readCaptureDate;
    if (!options_.decodeSlots)
        options_.decodeSlots = &PreviewPipeline::shared().decodeSlots();
    if (!options_.decodeConcurrency)
        options_.decodeConcurrency = [](const QString& path) { return PreviewPipeline::shared().decodeConcurrency(path); };
    actor_.setMaxThreadCount(1);
}

MetadataPipeline::~MetadataPipeline()
{
    actor_.waitForDone();
}

MetadataPipeline& MetadataPipeline::shared()
{
    static MetadataPipeline* const instance = new MetadataPipeline();
    return *instance;
}

QString MetadataPipeline::pairingKey(const PhotoItem& photo)
{
    const QString& path = photo.relativePath;
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    // Searched with a leading "/" so that a top-level "JPEG" or "RAW" folder pairs too.
    QString folder = QLatin1Char('/') + (slash < 0 ? QString() : path.left(slash));
    folder.remove(QStringLiteral("/JPEG"), Qt::CaseInsensitive);
    folder.remove(QStringLiteral("/RAW"), Qt::CaseInsensitive);
    folder.remove(0, 1);
    QString name = slash < 0 ? path : path.mid(slash + 1);
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    if (dot > 0)
        name.truncate(dot);
    return folder.toLower() + QLatin1Char('/') + name.toLower();
}

QFuture<QList<PhotoItem>> MetadataPipeline::enrich(QList<PhotoItem> photos, MetadataCancellation cancellation)
{
    return QtConcurrent::run(&actor_, [this, photos = std::move(photos), cancellation](QPromise<QList<PhotoItem>>& promise) mutable {
        const auto isCanceled = [&promise, &cancellation] { return promise.isCanceled() || cancellation.isCancelled(); };
        QHash<QString, QDateTime> datesByKey;
        bool stopped = false;
        for (PhotoItem& photo : photos) {
            if (photo.formatGroup != PhotoFormatGroup::jpeg)
                continue;
            if (stopped || isCanceled())
                break;
            if (const auto date = dateFor(photo, isCanceled, &stopped)) {
                photo.captureDate = *date;
                photo.captureDateOrigin = CaptureDateOrigin::exif;
                datesByKey.insert(pairingKey(photo), *date);
            }
        }
        for (PhotoItem& photo : photos) {
            if (photo.formatGroup != PhotoFormatGroup::raw)
                continue;
            if (stopped || isCanceled())
                break;
            const auto partner = datesByKey.constFind(pairingKey(photo));
            if (partner != datesByKey.cend()) {
                photo.captureDate = *partner;
                photo.captureDateOrigin = CaptureDateOrigin::exif;
                continue;
            }
            if (const auto date = dateFor(photo, isCanceled, &stopped)) {
                photo.captureDate = *date;
                photo.captureDateOrigin = CaptureDateOrigin::exif;
            }
        }
        promise.addResult(std::move(photos));
    });
}

std::optional<QDateTime> MetadataPipeline::dateFor(const PhotoItem& photo, const std::function<bool()>& isCanceled, bool* stopped)
{
    const FileFingerprint fingerprint{photo.relativePath, photo.fileSize, photo.modificationDate};
    const auto cached = cache_.constFind(fingerprint);
    if (cached != cache_.cend())
        return *cached;

    const QString path = photo.sourceURL.path();
    DecodeSlots& decodeSlots = *options_.decodeSlots;
    if (!decodeSlots.acquireBlocking(decodePriority, options_.decodeConcurrency(path), isCanceled)) {
        *stopped = true;
        return std::nullopt;
    }
    std::optional<QDateTime> date;
    {
        DecodeSlotGuard slot(decodeSlots);
        try {
            date = options_.reader(path);
        } catch (...) {
            date.reset(); // a reader that throws found no date
        }
    }
    if (date)
        cache_.insert(fingerprint, *date);
    else
        cache_.remove(fingerprint);
    return date;
}

} // namespace kestrava
