#include "RawSources.h"

#include "ScaledDecode.h"

#include <QFile>
#include <exiv2/exiv2.hpp>
#include <libraw/libraw.h>

#include <memory>
#include <mutex>

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

int exifOrientationOf(const Exiv2::ExifData& exif)
{
    const auto it = exif.findKey(Exiv2::ExifKey("Exif.Image.Orientation"));
    if (it == exif.end() || it->count() == 0)
        return 1;
    const long value = it->toLong();
    return value >= 1 && value <= 8 ? int(value) : 1;
}

std::unique_ptr<LibRaw> openWithLibRaw(const QString& path)
{
    // The processor carries large buffers: never on a worker thread's stack.
    auto raw = std::make_unique<LibRaw>(LIBRAW_OPIONS_NO_DATAERR_CALLBACK);
    if (raw->open_file(QFile::encodeName(path).constData()) != LIBRAW_SUCCESS)
        return nullptr;
    return raw;
}

} // namespace

void ensureExiv2Initialised()
{
    static std::once_flag once;
    std::call_once(once, [] {
        Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
        Exiv2::XmpParser::initialize(); // not thread-safe when left to the first parse
#ifdef EXV_ENABLE_BMFF
        Exiv2::enableBMFF(true);
#endif
    });
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
        auto longSide = [](const Exiv2::PreviewProperties& p) { return std::max(p.width_, p.height_); };
        for (const auto& properties : list) {
            if (properties.mimeType_ != "image/jpeg")
                continue;
            if (!best) {
                best = &properties;
                continue;
            }
            const bool bestCovers = int(longSide(*best)) >= maxPixelSize;
            const bool covers = int(longSide(properties)) >= maxPixelSize;
            if (covers ? (!bestCovers || longSide(properties) < longSide(*best)) : (!bestCovers && longSide(properties) > longSide(*best)))
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

QImage developHalfSize(const QString& path, int maxPixelSize, const PreviewRenderer::CancelCheck& isCanceled)
{
    auto raw = openWithLibRaw(path);
    if (!raw)
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
