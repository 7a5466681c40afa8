#include "PhotoPreviewLoader.h"

#include "platform/DeliveredLater.h"

#include <QGuiApplication>
#include <QPainter>
#include <QScreen>
#include <QtConcurrent>

namespace kestrava {

namespace {

// Copies for the photo on screen, the few prefetched after it and one or two the user may go back to.
constexpr qsizetype fittedCopiesKept = PreviewPipeline::prefetchCount + 2;

// The bilinear resampling the scene graph applied to the full preview on every frame, done
// once: the fitted picture looks exactly as it did, pixel for pixel as sharp. (An area average
// would alias less but looks softer at these ratios, and costs five times as much.)
QImage fittedCopy(const QImage& image, QSize size)
{
    QImage copy(size, image.hasAlphaChannel() ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32);
    if (image.hasAlphaChannel())
        copy.fill(Qt::transparent);
    QPainter painter(&copy);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(QRectF(QPointF(), QSizeF(size)), image);
    return copy;
}

} // namespace

PhotoPreviewLoader::PhotoPreviewLoader(PreviewPipeline& pipeline, QObject* parent) : QObject(parent), pipeline_(pipeline)
{
    fitter_.setMaxThreadCount(1);
}

PhotoPreviewLoader::~PhotoPreviewLoader()
{
    // A fit still running captured nothing of this object but its result is delivered here.
    ++*fitEpoch_;
    fitter_.waitForDone();
}

int PhotoPreviewLoader::targetPixelSizeFor(QSizeF visibleFrame, qreal scale)
{
    const qreal longer = std::max(visibleFrame.width(), visibleFrame.height()) * scale;
    return std::clamp(int(longer), smallestTarget, largestTarget);
}

int PhotoPreviewLoader::targetPixelSize() const
{
    if (targetOverride_)
        return *targetOverride_;
    const QScreen* screen = qobject_cast<QGuiApplication*>(QCoreApplication::instance()) ? QGuiApplication::primaryScreen() : nullptr;
    if (!screen)
        return largestTarget;
    return targetPixelSizeFor(screen->availableGeometry().size(), screen->devicePixelRatio());
}

void PhotoPreviewLoader::load(const FileUrl& url, ReadyCallback onReady)
{
    cancelLoad();
    const int size = targetPixelSize();
    // A full-priority render of a photo the user has left would hold a decode slot for nothing.
    if (requestedURL_ && *requestedURL_ != url)
        pipeline_.dropInFlight(*requestedURL_, requestedSize_);
    requestedURL_ = url;
    requestedSize_ = size;
    setDidFail(false);
    if (PreviewResult prepared = pipeline_.cachedPreview(url, size)) {
        // Prepared in advance: on screen with the very frame that shows the move to this photo.
        // The picture is set before anyone hears of the load, so that no one takes the previous
        // picture for this photo's.
        setImage(prepared->image);
        setLoading(false);
        if (onReady)
            onReady(url, PreviewLoadState::loading);
        // Never from inside load(): a caller that moves on and then withdraws the previous
        // readiness would otherwise withdraw this one.
        QMetaObject::invokeMethod(
            this,
            [this, generation = loadGeneration_, url, onReady] {
                if (generation == loadGeneration_ && onReady)
                    onReady(url, PreviewLoadState::shown);
            },
            Qt::QueuedConnection);
        return;
    }
    setImage({});
    setLoading(true);
    if (onReady)
        onReady(url, PreviewLoadState::loading);

    if (showsThumbnails_)
        startThumbnail(url, size);
    auto* watcher = new QFutureWatcher<PreviewResult>(this);
    loadTask_ = watcher;
    connect(watcher, &QFutureWatcherBase::finished, this, [this, watcher, url, onReady] {
        watcher->deleteLater();
        if (loadTask_ != watcher)
            return;
        loadTask_ = nullptr;
        const QFuture<PreviewResult> future = watcher->future();
        finishLoad(url, future.isValid() && future.resultCount() > 0 ? future.result() : PreviewResult{}, onReady);
    });
    watcher->setFuture(pipeline_.preview(url, size, foregroundPriority));
}

void PhotoPreviewLoader::startThumbnail(const FileUrl& url, int size)
{
    auto* watcher = new QFutureWatcher<QImage>(this);
    thumbnailTask_ = watcher;
    connect(watcher, &QFutureWatcherBase::finished, this, [this, watcher] {
        watcher->deleteLater();
        if (thumbnailTask_ != watcher)
            return;
        thumbnailTask_ = nullptr;
        const QFuture<QImage> future = watcher->future();
        // Only into a blank stage: never over the preview, never over a failure.
        if (!isLoading_ || !image_.isNull() || future.isCanceled() || future.resultCount() == 0 || future.result().isNull())
            return;
        showsThumbnail_ = true;
        setImage(future.result());
    });
    watcher->setFuture(pipeline_.thumbnail(url, size, foregroundPriority));
}

void PhotoPreviewLoader::finishLoad(const FileUrl& url, const PreviewResult& result, const ReadyCallback& onReady)
{
    // A result for a photo the user has already left changes nothing.
    if (requestedURL_ != url)
        return;
    setLoading(false);
    showsThumbnail_ = false;
    if (result) {
        setImage(result->image);
        setDidFail(false);
    } else {
        setImage({});
        setDidFail(true);
    }
    if (onReady)
        onReady(url, result ? PreviewLoadState::shown : PreviewLoadState::failed);
}

void PhotoPreviewLoader::prefetch(const QList<FileUrl>& urls)
{
    const QList<QFuture<PreviewResult>> started = pipeline_.prefetch(urls, targetPixelSize());
    if (fitBox_.isEmpty())
        return;
    // Each preview is fitted as soon as it is there.
    for (const QFuture<PreviewResult>& preview : started) {
        deliveredLater(preview, this).then(this, [this](const PreviewResult& result) {
            if (result)
                fit(result->image);
        });
    }
}

QSize PhotoPreviewLoader::fittedSize(QSize picture, QSize box)
{
    if (picture.isEmpty() || box.isEmpty() || (picture.width() <= box.width() && picture.height() <= box.height()))
        return {};
    return picture.scaled(box, Qt::KeepAspectRatio).expandedTo(QSize(1, 1));
}

void PhotoPreviewLoader::setFitBox(QSize box)
{
    if (box == fitBox_)
        return;
    fitBox_ = box;
    ++*fitEpoch_;
    fittedCopies_.clear();
    fittedOrder_.clear();
    fitting_.clear();
    if (!fitted_.isNull()) {
        fitted_ = QImage();
        emit fittedImageChanged();
    }
    if (!showsThumbnail_ && !image_.isNull())
        fit(image_);
}

bool PhotoPreviewLoader::hasFittedCopy(const FileUrl& url)
{
    const PreviewResult preview = pipeline_.cachedPreview(url, targetPixelSize());
    return preview && fittedCopies_.contains(preview->image.cacheKey());
}

void PhotoPreviewLoader::fit(const QImage& image)
{
    const QSize size = fittedSize(image.size(), fitBox_);
    const qint64 key = image.cacheKey();
    if (!size.isValid() || fittedCopies_.contains(key) || fitting_.contains(key))
        return;
    fitting_.insert(key);
    const quint64 epoch = *fitEpoch_;
    auto scaled = QtConcurrent::run(&fitter_, [image, size, epoch, current = fitEpoch_] {
        return *current == epoch ? fittedCopy(image, size) : QImage();
    });
    deliveredLater(scaled, this).then(this, [this, key, epoch](const QImage& copy) {
        if (*fitEpoch_ != epoch || copy.isNull())
            return;
        fitting_.remove(key);
        keepFitted(key, copy);
        if (image_.cacheKey() == key && !showsThumbnail_ && fitted_.cacheKey() != copy.cacheKey()) {
            fitted_ = copy;
            emit fittedImageChanged();
        }
    });
}

void PhotoPreviewLoader::keepFitted(qint64 key, const QImage& copy)
{
    fittedCopies_.insert(key, copy);
    fittedOrder_.removeOne(key);
    fittedOrder_.append(key);
    while (fittedOrder_.size() > fittedCopiesKept)
        fittedCopies_.remove(fittedOrder_.takeFirst());
}

void PhotoPreviewLoader::clear()
{
    cancelLoad();
    requestedURL_.reset();
    setImage({});
    setLoading(false);
    setDidFail(false);
}

void PhotoPreviewLoader::load(const QUrl& url)
{
    if (!url.isLocalFile())
        return;
    load(FileUrl::fromLocalPath(url.toLocalFile()), {});
}

void PhotoPreviewLoader::prefetch(const QList<QUrl>& urls)
{
    QList<FileUrl> files;
    for (const QUrl& url : urls)
        if (url.isLocalFile())
            files.append(FileUrl::fromLocalPath(url.toLocalFile()));
    prefetch(files);
}

void PhotoPreviewLoader::cancelLoad()
{
    ++loadGeneration_;
    if (loadTask_) {
        loadTask_->disconnect(this);
        loadTask_->deleteLater();
        loadTask_ = nullptr;
    }
    if (thumbnailTask_) {
        // A thumbnail still waiting for its slot is not read at all.
        thumbnailTask_->future().cancel();
        thumbnailTask_->disconnect(this);
        thumbnailTask_->deleteLater();
        thumbnailTask_ = nullptr;
    }
    showsThumbnail_ = false;
}

void PhotoPreviewLoader::setImage(QImage image)
{
    if (image.isNull() && image_.isNull())
        return;
    image_ = std::move(image);
    // Both before either is announced: whoever hears of one finds the other belonging to it.
    QImage fitted = showsThumbnail_ || image_.isNull() ? QImage() : fittedCopies_.value(image_.cacheKey());
    const bool fittedChanged = fitted.cacheKey() != fitted_.cacheKey() || fitted.isNull() != fitted_.isNull();
    fitted_ = std::move(fitted);
    if (fittedCopies_.contains(image_.cacheKey())) {
        fittedOrder_.removeOne(image_.cacheKey());
        fittedOrder_.append(image_.cacheKey());
    }
    emit imageChanged();
    if (fittedChanged)
        emit fittedImageChanged();
    if (fitted_.isNull() && !showsThumbnail_ && !image_.isNull())
        fit(image_);
}

void PhotoPreviewLoader::setLoading(bool loading)
{
    if (isLoading_ == loading)
        return;
    isLoading_ = loading;
    emit isLoadingChanged();
}

void PhotoPreviewLoader::setDidFail(bool failed)
{
    if (didFail_ == failed)
        return;
    didFail_ = failed;
    emit didFailChanged();
}

} // namespace kestrava
