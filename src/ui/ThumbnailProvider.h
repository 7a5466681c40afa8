#pragma once

// Small previews for the audit list, as an asynchronous image provider ("image://kestrava-thumb/
// <percent-encoded path>"). Thumbnails have their own pipeline with a roomy memory cache, so
// scrolling a long list never evicts the review screen's large previews; their reads queue in
// the shared decode slots below the screen's picture and its prefetches, so that on a card
// reader the list never competes with the photo the user waits for. A thumbnail whose row
// scrolled out of view is cancelled by the engine and dropped before it reads its file.

#include "preview/PreviewPipeline.h"

#include <QQuickAsyncImageProvider>
#include <memory>

namespace kestrava {

class ThumbnailProvider : public QQuickAsyncImageProvider {
public:
    static constexpr const char* providerId = "kestrava-thumb";
    static constexpr int defaultSize = 192;
    // Below every prefetch of the review screen, above metadata reads.
    static constexpr int thumbnailPriority = 20;

    // `pipeline` null: a private pipeline as described above, on the shared pipeline's slots.
    explicit ThumbnailProvider(std::shared_ptr<PreviewPipeline> pipeline = {});

    static QString urlFor(const QString& path);
    QQuickImageResponse* requestImageResponse(const QString& id, const QSize& requestedSize) override;

private:
    std::shared_ptr<PreviewPipeline> pipeline_;
};

} // namespace kestrava
