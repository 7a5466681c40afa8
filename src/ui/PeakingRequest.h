#pragma once

// Focus peaking for the picture a loader shows, as the single view and both compare panes ask
// for it: measured in the background, and handed over only while the loader still shows the
// very picture it was measured on (an overlay never lands on the next photo).

#include "platform/DeliveredLater.h"
#include "preview/FocusPipeline.h"
#include "preview/PhotoPreviewLoader.h"

#include <QPointer>

namespace kestrava {

// `apply(overlay)` runs on `context`'s thread, at most once, and not after `loader` moved on.
template <typename Apply>
void requestPeaking(PhotoPreviewLoader* loader, QObject* context, Apply apply)
{
    const QImage shown = loader->image();
    const std::optional<FileUrl> url = loader->requestedURL();
    if (shown.isNull() || !url)
        return;
    const qint64 key = shown.cacheKey();
    QPointer<PhotoPreviewLoader> watched = loader;
    deliveredLater(FocusPipeline::shared().peaking(shown, *url, loader->targetPixelSize()), context)
        .then(context, [watched, key, apply = std::move(apply)](const QImage& overlay) {
            if (watched && watched->image().cacheKey() == key)
                apply(overlay);
        });
}

} // namespace kestrava
