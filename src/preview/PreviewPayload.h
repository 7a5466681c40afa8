#pragma once

// The unit the preview caches store and callers receive.

#include "model/EnumNames.h"

#include <QImage>

namespace kestrava {

// Where the pixels came from: a RAW file's embedded JPEG, the file's own image data, or a
// development of the raw sensor data.
enum class PreviewSource { embedded, decoded, developed };
template <>
struct EnumNames<PreviewSource> {
    static constexpr std::array<std::pair<PreviewSource, std::string_view>, 3> table{{
        {PreviewSource::embedded, "embedded"}, {PreviewSource::decoded, "decoded"}, {PreviewSource::developed, "developed"}}};
};

struct PreviewPayload {
    QImage image;
    qint64 memoryCost = 0; // bytes of the bitmap
    PreviewSource source = PreviewSource::decoded;

    static PreviewPayload of(QImage image, PreviewSource source)
    {
        const qint64 cost = image.sizeInBytes();
        return {std::move(image), cost, source};
    }
};

} // namespace kestrava
