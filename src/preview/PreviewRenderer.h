#pragma once

// Turns one photo file into a preview no larger than a given pixel size, with the camera's
// orientation applied. Never throws; a file that cannot be read gives no image.

#include "PreviewPayload.h"

#include <QString>
#include <functional>
#include <optional>

namespace kestrava::PreviewRenderer {

using CancelCheck = std::function<bool()>;

// JPEG content (recognised by its bytes, not its extension) is decoded scaled in the DCT.
// RAW files give their best embedded JPEG preview; when there is none, or it is far smaller
// than asked, the raw data is developed at half size. The longer side of the result is at
// most `maxPixelSize`. `isCanceled` may abort a development in progress.
std::optional<PreviewPayload> render(const QString& path, int maxPixelSize, const CancelCheck& isCanceled = {});

} // namespace kestrava::PreviewRenderer
