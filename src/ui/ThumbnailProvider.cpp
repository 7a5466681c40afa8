#include "ThumbnailProvider.h"
#include "platform/DeliveredLater.h"

#include <QUrl>

namespace kestrava {

namespace {

class ThumbnailResponse : public QQuickImageResponse {
public:
    ThumbnailResponse(std::shared_ptr<PreviewPipeline> pipeline, const FileUrl& url, int size)
        : pipeline_(std::move(pipeline)), url_(url), size_(size)
    {
        // The continuation runs on this object's thread; the response lives until the
        // engine has taken the picture. A dropped request is answered with no image, which
        // also gives the engine the finished() it waits for after cancel().
        deliveredLater(pipeline_->preview(url_, size_, ThumbnailProvider::thumbnailPriority), this)
            .then(this, [this](const PreviewResult& result) {
                if (result)
                    image_ = result->image;
                emit finished();
            })
            .onFailed(this, [this] { emit finished(); });
    }

    // The row left the view: the request gives up its place in the decode queue. One that is
    // already decoding finishes into the cache, where scrolling back finds it.
    void cancel() override { pipeline_->dropInFlight(url_, size_); }

    QQuickTextureFactory* textureFactory() const override { return QQuickTextureFactory::textureFactoryForImage(image_); }
    QString errorString() const override { return image_.isNull() ? QStringLiteral("no preview") : QString(); }

private:
    std::shared_ptr<PreviewPipeline> pipeline_;
    FileUrl url_;
    int size_;
    QImage image_;
};

PreviewPipeline::Options thumbnailOptions()
{
    PreviewPipeline& shared = PreviewPipeline::shared();
    PreviewPipeline::Options options;
    options.memoryByteLimit = 96LL * 1024 * 1024;
    options.memoryCountLimit = 2000;
    options.decodeSlots = &shared.decodeSlots();
    // The shared pipeline's own answer: a limit of its own would lower the shared one for all.
    options.decodeConcurrency = [&shared](const QString& path) { return shared.decodeConcurrency(path); };
    return options;
}

} // namespace

ThumbnailProvider::ThumbnailProvider(std::shared_ptr<PreviewPipeline> pipeline)
    : pipeline_(pipeline ? std::move(pipeline) : std::make_shared<PreviewPipeline>(thumbnailOptions()))
{
}

QString ThumbnailProvider::urlFor(const QString& path)
{
    return QStringLiteral("image://") + QLatin1String(providerId) + u'/'
        + QString::fromLatin1(QUrl::toPercentEncoding(path));
}

QQuickImageResponse* ThumbnailProvider::requestImageResponse(const QString& id, const QSize& requestedSize)
{
    const QString path = QUrl::fromPercentEncoding(id.toLatin1());
    const int size = requestedSize.isValid() ? qMax(requestedSize.width(), requestedSize.height()) : defaultSize;
    return new ThumbnailResponse(pipeline_, FileUrl::fromLocalPath(path), qBound(64, size, 512));
}

} // namespace kestrava
