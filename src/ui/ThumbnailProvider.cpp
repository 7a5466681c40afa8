#include "ThumbnailProvider.h"

#include <QUrl>

namespace kestrava {

namespace {

class ThumbnailResponse : public QQuickImageResponse {
public:
    explicit ThumbnailResponse(QFuture<PreviewResult> future)
    {
        // The continuation runs on this object's thread; the response lives until the
        // engine has taken the picture.
        future.then(this, [this](const PreviewResult& result) {
            if (result)
                image_ = result->image;
            emit finished();
        }).onFailed(this, [this] { emit finished(); });
    }

    QQuickTextureFactory* textureFactory() const override { return QQuickTextureFactory::textureFactoryForImage(image_); }
    QString errorString() const override { return image_.isNull() ? QStringLiteral("no preview") : QString(); }

private:
    QImage image_;
};

PreviewPipeline::Options thumbnailOptions()
{
    PreviewPipeline::Options options;
    options.memoryByteLimit = 96LL * 1024 * 1024;
    options.memoryCountLimit = 2000;
    options.decodeConcurrency = [](const QString&) { return 1; };
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
    return new ThumbnailResponse(pipeline_->preview(FileUrl::fromLocalPath(path), qBound(64, size, 512), thumbnailPriority));
}

} // namespace kestrava
