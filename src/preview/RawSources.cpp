#include "RawSources.h"

#include "RegularFile.h"
#include "ScaledDecode.h"

#include "platform/Exiv2Setup.h"

#include <QFile>
#include <QFileInfo>

#include <exiv2/exiv2.hpp>
#include <libraw/libraw.h>

#include <memory>

namespace kestrava::preview {

namespace {

// LibRaw's `flip` (dcraw convention) expressed as an EXIF orientation.
int exifOrientationFromFlip(int flip)
{
    switch (flip) {
    case 3: return 3;
    case 5: return 8;
    case 6: return 6;
    default: return 1;
    }
}

// The smallest candidate whose longer side covers `maxPixelSize`, else the largest.
bool servesBetter(QSize candidate, QSize best, int maxPixelSize)
{
    const int c = std::max(candidate.width(), candidate.height());
    const int b = std::max(best.width(), best.height());
    const bool candidateCovers = c >= maxPixelSize;
    const bool bestCovers = b >= maxPixelSize;
    return candidateCovers ? (!bestCovers || c < b) : (!bestCovers && c > b);
}

// Frame size from a JPEG header starting at `data` (SOI included), walking the marker segments
// up to the first start-of-frame. Empty when the bytes are not a plausible JPEG header.
QSize jpegFrameSize(const uchar* data, qsizetype available)
{
    qsizetype pos = 2;
    for (int segments = 0; segments < 64 && pos + 4 <= available; ++segments) {
        if (data[pos] != 0xFF)
            return {};
        const uchar marker = data[pos + 1];
        const int length = (data[pos + 2] << 8) | data[pos + 3];
        if (length < 2)
            return {};
        const bool startOfFrame = marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
        if (startOfFrame) {
            if (pos + 9 > available)
                return {};
            const int height = (data[pos + 5] << 8) | data[pos + 6];
            const int width = (data[pos + 7] << 8) | data[pos + 8];
            return width > 0 && height > 0 ? QSize(width, height) : QSize();
        }
        if (marker == 0xDA || marker == 0xD9)
            return {};
        pos += 2 + length;
    }
    return {};
}

std::unique_ptr<LibRaw> openWithLibRaw(const QString& path)
{
    if (!isRegularFile(path))
        return nullptr;
    // The processor carries large buffers: never on a worker thread's stack.
    auto raw = std::make_unique<LibRaw>(LIBRAW_OPIONS_NO_DATAERR_CALLBACK);
    if (raw->open_file(QFile::encodeName(path).constData()) != LIBRAW_SUCCESS)
        return nullptr;
    return raw;
}

} // namespace

int exifOrientationOf(const Exiv2::ExifData& exif)
{
    const auto it = exif.findKey(Exiv2::ExifKey("Exif.Image.Orientation"));
    if (it == exif.end() || it->count() == 0)
        return 1;
    const long value = it->toLong();
    return value >= 1 && value <= 8 ? int(value) : 1;
}

std::optional<EmbeddedJpeg> libRawEmbeddedJpeg(const QString& path, bool* openedByLibRaw)
{
    if (openedByLibRaw)
        *openedByLibRaw = false;
    auto raw = openWithLibRaw(path);
    if (!raw)
        return std::nullopt;
    if (openedByLibRaw)
        *openedByLibRaw = true;
    if (raw->unpack_thumb() != LIBRAW_SUCCESS)
        return std::nullopt;
    const libraw_thumbnail_t& thumb = raw->imgdata.thumbnail;
    if (thumb.tformat != LIBRAW_THUMBNAIL_JPEG || !thumb.thumb || thumb.tlength < 4)
        return std::nullopt;
    EmbeddedJpeg out;
    out.bytes = QByteArray(thumb.thumb, qsizetype(thumb.tlength));
    if (!looksLikeJpeg(out.bytes))
        return std::nullopt;
    out.size = QSize(thumb.twidth, thumb.theight);
    out.exifOrientation = exifOrientationFromFlip(raw->imgdata.sizes.flip);
    return out;
}

std::optional<EmbeddedJpeg> exiv2EmbeddedJpeg(const QString& path, int maxPixelSize)
{
    ensureExiv2Initialised();
    try {
        auto image = Exiv2::ImageFactory::open(QFile::encodeName(path).toStdString());
        if (!image.get())
            return std::nullopt;
        image->readMetadata();
        Exiv2::PreviewManager manager(*image);
        const Exiv2::PreviewPropertiesList list = manager.getPreviewProperties();
        const Exiv2::PreviewProperties* best = nullptr;
        auto sizeOf = [](const Exiv2::PreviewProperties& p) { return QSize(int(p.width_), int(p.height_)); };
        for (const auto& properties : list) {
            if (properties.mimeType_ == "image/jpeg" && (!best || servesBetter(sizeOf(properties), sizeOf(*best), maxPixelSize)))
                best = &properties;
        }
        if (!best)
            return std::nullopt;
        const Exiv2::PreviewImage preview = manager.getPreviewImage(*best);
        EmbeddedJpeg out;
        out.bytes = QByteArray(reinterpret_cast<const char*>(preview.pData()), qsizetype(preview.size()));
        if (!looksLikeJpeg(out.bytes))
            return std::nullopt;
        out.size = QSize(int(best->width_), int(best->height_));
        out.exifOrientation = exifOrientationOf(image->exifData());
        return out;
    } catch (const std::exception&) {
        return std::nullopt; // Exiv2::AnyError and allocation failures on damaged files
    }
}

std::optional<EmbeddedJpeg> scannedEmbeddedJpeg(const QString& path, int maxPixelSize)
{
    QFile file(path);
    if (!openRegularFile(file) || file.size() < 4)
        return std::nullopt;
    const qsizetype size = qsizetype(file.size());
    const uchar* data = file.map(0, size);
    if (!data)
        return std::nullopt;
    qsizetype bestOffset = -1;
    QSize bestSize;
    // The first bytes are the container's own header, never an embedded stream.
    for (qsizetype pos = 1; pos + 3 < size;) {
        const void* hit = memchr(data + pos, 0xFF, size_t(size - pos - 3));
        if (!hit)
            break;
        pos = static_cast<const uchar*>(hit) - data;
        if (data[pos + 1] == 0xD8 && data[pos + 2] == 0xFF) {
            const QSize frame = jpegFrameSize(data + pos, size - pos);
            if (frame.isValid() && (bestOffset < 0 || servesBetter(frame, bestSize, maxPixelSize))) {
                bestOffset = pos;
                bestSize = frame;
            }
        }
        ++pos;
    }
    if (bestOffset < 0)
        return std::nullopt;
    EmbeddedJpeg out;
    // The stream's end is unknown without decoding; the decoder stops at its end-of-image marker.
    constexpr qsizetype largestPreviewBytes = 32 * 1024 * 1024;
    out.bytes = QByteArray(reinterpret_cast<const char*>(data + bestOffset), std::min(size - bestOffset, largestPreviewBytes));
    out.size = bestSize;
    file.unmap(const_cast<uchar*>(data));
    ensureExiv2Initialised();
    try {
        auto image = Exiv2::ImageFactory::open(QFile::encodeName(path).toStdString());
        if (image.get()) {
            image->readMetadata();
            out.exifOrientation = exifOrientationOf(image->exifData());
        }
    } catch (const std::exception&) {
        // No orientation known: show the stream as stored.
    }
    return out;
}

bool isFarSmaller(QSize size, int maxPixelSize)
{
    // A 160 px thumbnail blown up to a 2048 px screen helps no one when the raw data can be
    // developed instead.
    constexpr double farSmallerRatio = 0.4;
    return std::max(size.width(), size.height()) < farSmallerRatio * maxPixelSize;
}

std::optional<EmbeddedJpeg> bestEmbeddedJpeg(const QString& path, int maxPixelSize, bool* openedByLibRaw)
{
    if (openedByLibRaw)
        *openedByLibRaw = false;
    if (!isRegularFile(path))
        return std::nullopt;
    bool opened = false;
    std::optional<EmbeddedJpeg> embedded = libRawEmbeddedJpeg(path, &opened);
    if (openedByLibRaw)
        *openedByLibRaw = opened;
    // LibRaw knows only one thumbnail per file; Exiv2 lists them all.
    if (!embedded || isFarSmaller(embedded->size, maxPixelSize)) {
        std::optional<EmbeddedJpeg> listed = exiv2EmbeddedJpeg(path, maxPixelSize);
        if (listed && (!embedded || std::max(listed->size.width(), listed->size.height())
                                        > std::max(embedded->size.width(), embedded->size.height())))
            embedded = std::move(listed);
    }
    if (!embedded && !opened)
        embedded = scannedEmbeddedJpeg(path, maxPixelSize);
    return embedded;
}

QImage developHalfSize(const QString& path, int maxPixelSize, const PreviewRenderer::CancelCheck& isCanceled)
{
    auto raw = openWithLibRaw(path);
    if (!raw)
        return {};
    // No raw encoding in use stores less than a bit per pixel. A file smaller than that has lost
    // its sensor data (cut short, or stripped to its header); LibRaw would develop the missing
    // bytes as a black frame, slowly.
    const qint64 pixels = qint64(raw->imgdata.sizes.raw_width) * raw->imgdata.sizes.raw_height;
    if (pixels <= 0 || QFileInfo(path).size() < pixels / 8)
        return {};
    if (isCanceled) {
        raw->set_progress_handler(
            [](void* context, LibRaw_progress, int, int) -> int {
                return (*static_cast<const PreviewRenderer::CancelCheck*>(context))() ? 1 : 0;
            },
            const_cast<PreviewRenderer::CancelCheck*>(&isCanceled));
    }
    libraw_output_params_t& params = raw->imgdata.params;
    params.half_size = 1;
    params.use_camera_wb = 1;
    params.output_bps = 8;
    params.user_qual = 0; // linear interpolation: quality is irrelevant at preview size
    if (raw->unpack() != LIBRAW_SUCCESS || raw->dcraw_process() != LIBRAW_SUCCESS)
        return {};
    int error = LIBRAW_SUCCESS;
    libraw_processed_image_t* processed = raw->dcraw_make_mem_image(&error);
    if (!processed)
        return {};
    std::unique_ptr<libraw_processed_image_t, void (*)(libraw_processed_image_t*)> owner(processed, &LibRaw::dcraw_clear_mem);
    if (error != LIBRAW_SUCCESS || processed->type != LIBRAW_IMAGE_BITMAP || processed->colors != 3 || processed->bits != 8
        || processed->width == 0 || processed->height == 0)
        return {};
    // The bitmap's rows are packed; QImage copies them into its own aligned rows.
    const QImage view(processed->data, processed->width, processed->height, qsizetype(processed->width) * 3, QImage::Format_RGB888);
    return fittedWithin(view.copy(), maxPixelSize);
}

} // namespace kestrava::preview
