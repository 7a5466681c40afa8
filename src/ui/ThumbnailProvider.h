#pragma once

// Small previews for the audit list, as an asynchronous image provider ("image://kestrava-thumb/
// <percent-encoded path>"). Thumbnails have their own pipeline with a roomy memory cache and a
// single decode slot, so scrolling a long list neither evicts the review screen's large
// previews nor takes decode slots from the photo on screen.

#include "preview/PreviewPipeline.h"

#include <QQuickAsyncImageProvider>
#include <memory>

namespace kestrava {

class ThumbnailProvider : public QQuickAsyncImageProvider {
public:
    static constexpr const char* providerId = "kestrava-thumb";
    static constexpr int defaultSize = 192;
    static constexpr int thumbnailPriority = 20;

    // `pipeline` null: a private pipeline as described above.
    explicit ThumbnailProvider(std::shared_ptr<PreviewPipeline> pipeline = {});

    static QString urlFor(const QString& path);
    QQuickImageResponse* requestImageResponse(const QString& id, const QSize& requestedSize) override;

private:
    std::shared_ptr<PreviewPipeline> pipeline_;
};

} // namespace kestrava
