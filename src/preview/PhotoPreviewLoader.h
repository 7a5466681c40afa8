#pragma once

// The main-thread object the review screen observes to show the current photo. It asks the
// preview pipeline for one preview at the highest priority, publishes the image and the
// loading and failure flags, abandons work for photos the user has moved past, and prefetches
// the photos that come next. It reports no error text: a failed load is a `didFail` the screen
// answers by trying the group's other files.

#include "PreviewPipeline.h"

#include <QFutureWatcher>
#include <QHash>
#include <QImage>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QThreadPool>
#include <QUrl>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

namespace kestrava {

// What a load has come to: still on its way, its picture on screen, or no picture to be had.
enum class PreviewLoadState { loading, shown, failed };

class PhotoPreviewLoader : public QObject {
    Q_OBJECT
    Q_PROPERTY(QImage image READ image NOTIFY imageChanged)
    Q_PROPERTY(QImage fittedImage READ fittedImage NOTIFY fittedImageChanged)
    Q_PROPERTY(bool isLoading READ isLoading NOTIFY isLoadingChanged)
    Q_PROPERTY(bool didFail READ didFail NOTIFY didFailChanged)
    Q_PROPERTY(int targetPixelSize READ targetPixelSize CONSTANT)

public:
    static constexpr int foregroundPriority = DecodeSlots::screenPriority;
    static constexpr int smallestTarget = 1024;
    static constexpr int largestTarget = 2048;

    using ReadyCallback = std::function<void(const FileUrl& url, PreviewLoadState state)>;

    explicit PhotoPreviewLoader(PreviewPipeline& pipeline = PreviewPipeline::shared(), QObject* parent = nullptr);
    ~PhotoPreviewLoader() override;

    QImage image() const { return image_; }
    // `image` scaled down to the fit box, so that the screen draws the fitted picture as it is
    // instead of resampling the full preview in every frame. Made on a worker thread when a
    // prefetched preview arrives, so a prepared photo comes with it; otherwise just after the
    // preview is shown. Null until then, for stand-in thumbnails, and for pictures that fit
    // the box as they are. `image` itself stays at full size (100 % and focus peaking).
    QImage fittedImage() const { return fitted_; }
    // The box the screen fits the picture into, in device pixels. Empty (the default): no
    // fitted copies. A new box drops the copies made for the old one.
    void setFitBox(QSize box);
    QSize fitBox() const { return fitBox_; }
    // Whether the fitted copy of `url`'s preview in memory is ready (tests).
    bool hasFittedCopy(const FileUrl& url);
    // The size of `picture` fitted into `box`; invalid where it fits as it is.
    static QSize fittedSize(QSize picture, QSize box);
    bool isLoading() const { return isLoading_; }
    bool didFail() const { return didFail_; }
    std::optional<FileUrl> requestedURL() const { return requestedURL_; }

    // The larger side of the primary screen's available area in device pixels, clamped to
    // 1024…2048; 2048 without a screen. Evaluated on each use (screens come and go).
    int targetPixelSize() const;
    static int targetPixelSizeFor(QSizeF visibleFrame, qreal scale);
    // With thumbnails on, a load whose preview is not in memory first shows the file's embedded
    // thumbnail, so that a jump far away does not leave the stage blank while the preview
    // renders. The state stays `loading` until the preview itself is there.
    void setShowsThumbnails(bool on) { showsThumbnails_ = on; }
    // The image is the stand-in thumbnail, not the preview.
    bool showsThumbnail() const { return showsThumbnail_; }
    // Tests and benchmarks pin the size instead of asking the screen.
    void setTargetPixelSizeOverride(std::optional<int> size) { targetOverride_ = size; }

    // Shows `url` next. `onReady(url, loading)` is called at once; later, never from inside
    // load(), exactly one more call for this URL, `shown` or `failed`, unless another load or
    // clear() came first, in which case nothing more. A preview in memory is on show when load()
    // returns (not loading any more), its `shown` follows through the event loop.
    void load(const FileUrl& url, ReadyCallback onReady = {});
    void prefetch(const QList<FileUrl>& urls);
    // Forgets everything: back to idle, no image.
    Q_INVOKABLE void clear();

    // The same for QML, which follows `isLoading` and `didFail`.
    Q_INVOKABLE void load(const QUrl& url);
    Q_INVOKABLE void prefetch(const QList<QUrl>& urls);

signals:
    void imageChanged();
    void fittedImageChanged();
    void isLoadingChanged();
    void didFailChanged();

private:
    void finishLoad(const FileUrl& url, const PreviewResult& result, const ReadyCallback& onReady);
    void startThumbnail(const FileUrl& url, int size);
    void cancelLoad();
    void setImage(QImage image);
    // Starts the fitted copy of `image` unless it is there or on its way.
    void fit(const QImage& image);
    void keepFitted(qint64 key, const QImage& copy);
    void setLoading(bool loading);
    void setDidFail(bool failed);


    PreviewPipeline& pipeline_;
    QImage image_;
    bool isLoading_ = false;
    bool didFail_ = false;
    std::optional<FileUrl> requestedURL_;
    int requestedSize_ = 0;
    QPointer<QFutureWatcher<PreviewResult>> loadTask_;
    QPointer<QFutureWatcher<QImage>> thumbnailTask_;
    // Counts loads and clears, so that a report queued for a load that was replaced is dropped.
    quint64 loadGeneration_ = 0;
    bool showsThumbnails_ = false;
    bool showsThumbnail_ = false;
    std::optional<int> targetOverride_;

    QSize fitBox_;
    QImage fitted_;
    // Fitted copies by the cache key of the preview they were made from, oldest first.
    QHash<qint64, QImage> fittedCopies_;
    QList<qint64> fittedOrder_;
    QSet<qint64> fitting_;
    // Counts fit boxes: a copy for a box given up is not worth making any more.
    std::shared_ptr<std::atomic<quint64>> fitEpoch_ = std::make_shared<std::atomic<quint64>>(0);
    // One fit at a time: they are only ever a few pictures ahead of the user.
    QThreadPool fitter_;
};

} // namespace kestrava
