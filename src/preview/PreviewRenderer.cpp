#include "PreviewRenderer.h"

#include "EmbeddedThumbnail.h"
#include "RawSources.h"
#include "RegularFile.h"
#include "ScaledDecode.h"
#include "TurboDecode.h"

#include <QBuffer>
#include <QFile>

namespace kestrava::PreviewRenderer {

namespace {

using namespace kestrava::preview;

QImage decodeEmbedded(const EmbeddedJpeg& jpeg, int maxPixelSize)
{
    QImage turbo = decodeJpegScaled(jpeg.bytes, maxPixelSize, false);
    if (!turbo.isNull())
        return orientedByExif(turbo, jpeg.exifOrientation);
    QByteArray bytes = jpeg.bytes;
    QBuffer buffer(&bytes);
    if (!buffer.open(QIODevice::ReadOnly))
        return {};
    // The embedded stream rarely carries its own orientation; the RAW container's counts.
    const QImage image = decodeScaled(buffer, maxPixelSize, false);
    return image.isNull() ? image : orientedByExif(image, jpeg.exifOrientation);
}

std::optional<PreviewPayload> renderJpeg(QFile& file, int maxPixelSize)
{
    const QByteArray bytes = file.readAll();
    QImage image = decodeJpegScaled(bytes, maxPixelSize, true);
    if (!image.isNull())
        return PreviewPayload::of(std::move(image), PreviewSource::decoded);
    if (!file.seek(0))
        return std::nullopt;
    image = decodeScaled(file, maxPixelSize, true);
    if (image.isNull())
        return std::nullopt;
    return PreviewPayload::of(image, PreviewSource::decoded);
}

std::optional<PreviewPayload> renderRaw(const QString& path, int maxPixelSize, const CancelCheck& isCanceled)
{
    bool openedByLibRaw = false;
    const std::optional<EmbeddedJpeg> embedded = bestEmbeddedJpeg(path, maxPixelSize, &openedByLibRaw);

    QImage fallback;
    if (embedded) {
        QImage image = decodeEmbedded(*embedded, maxPixelSize);
        if (!image.isNull()) {
            const QSize decoded = image.size();
            if (!isFarSmaller(decoded, maxPixelSize))
                return PreviewPayload::of(std::move(image), PreviewSource::embedded);
            // Even as a last resort, a placeholder would only hide the other files of a group.
            if (std::max(decoded.width(), decoded.height()) >= smallestUsefulSide)
                fallback = std::move(image);
        }
    }
    if (isCanceled && isCanceled())
        return std::nullopt;
    if (openedByLibRaw) {
        QImage developed = developHalfSize(path, maxPixelSize, isCanceled);
        if (!developed.isNull())
            return PreviewPayload::of(std::move(developed), PreviewSource::developed);
    }
    if (!fallback.isNull())
        return PreviewPayload::of(std::move(fallback), PreviewSource::embedded);
    return std::nullopt;
}

} // namespace

std::optional<PreviewPayload> render(const QString& path, int maxPixelSize, const CancelCheck& isCanceled)
{
    if (maxPixelSize <= 0 || (isCanceled && isCanceled()))
        return std::nullopt;
    QFile file(path);
    if (!openRegularFile(file))
        return std::nullopt;
    // Content decides, not the extension: some cameras and tools write JPEG data under a RAW
    // name, and a JPEG renamed by hand should still show.
    if (looksLikeJpeg(file.peek(3)))
        return renderJpeg(file, maxPixelSize);
    std::optional<PreviewPayload> payload;
    try {
        payload = renderRaw(path, maxPixelSize, isCanceled);
    } catch (const std::exception&) {
        // LibRaw and Exiv2 report allocation failures on damaged files by throwing.
    }
    if (payload || (isCanceled && isCanceled()))
        return payload;
    // Neither a JPEG nor a RAW that LibRaw or Exiv2 understand: whatever Qt can read.
    if (!file.seek(0))
        return std::nullopt;
    const QImage image = decodeScaled(file, maxPixelSize, true);
    if (image.isNull())
        return std::nullopt;
    return PreviewPayload::of(fittedWithin(image, maxPixelSize), PreviewSource::decoded);
}

} // namespace kestrava::PreviewRenderer
