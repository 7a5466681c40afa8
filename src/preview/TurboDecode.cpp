#include "TurboDecode.h"

#include "ScaledDecode.h"

#include <QBuffer>
#include <QImageIOHandler>
#include <QImageReader>
#include <QPainter>
#include <turbojpeg.h>

namespace kestrava::preview {

namespace {

struct Decompressor {
    tjhandle handle = tjInitDecompress();
    ~Decompressor()
    {
        if (handle)
            tjDestroy(handle);
    }
};

// The smallest power-of-two reduction (1/2, 1/4, 1/8: the ones with SIMD paths) that still
// leaves the longer side at least `maxPixelSize`, so the resampling after it only ever shrinks,
// and by less than half.
tjscalingfactor scaleFor(int width, int height, int maxPixelSize)
{
    int count = 0;
    const tjscalingfactor* factors = tjGetScalingFactors(&count);
    tjscalingfactor best{1, 1};
    const int longer = std::max(width, height);
    if (maxPixelSize <= 0 || longer <= maxPixelSize || !factors)
        return best;
    for (int i = 0; i < count; ++i) {
        const tjscalingfactor f = factors[i];
        if (f.num != 1 || (f.denom & (f.denom - 1)) != 0)
            continue;
        if (TJSCALED(longer, f) >= maxPixelSize && TJSCALED(longer, f) < TJSCALED(longer, best))
            best = f;
    }
    return best;
}

int exifOrientationOf(QByteArrayView bytes)
{
    // The reader parses only the markers in front of the image data for this.
    QByteArray shallow = QByteArray::fromRawData(bytes.data(), bytes.size());
    QBuffer buffer(&shallow);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer, "jpeg");
    switch (int(reader.transformation())) {
    case QImageIOHandler::TransformationMirror: return 2;
    case QImageIOHandler::TransformationRotate180: return 3;
    case QImageIOHandler::TransformationFlip: return 4;
    case QImageIOHandler::TransformationFlipAndRotate90: return 5;
    case QImageIOHandler::TransformationRotate90: return 6;
    case QImageIOHandler::TransformationMirrorAndRotate90: return 7;
    case QImageIOHandler::TransformationRotate270: return 8;
    default: return 1;
    }
}

// The decode already came within one octave of the wanted size; within an octave, bilinear
// filtering reads every source pixel and loses nothing visible, at a third of the cost of Qt's
// area-averaging smooth scale.
QImage shrunkWithin(const QImage& image, int maxPixelSize)
{
    if (maxPixelSize <= 0 || (image.width() <= maxPixelSize && image.height() <= maxPixelSize))
        return image;
    const QSize size = image.size().scaled(maxPixelSize, maxPixelSize, Qt::KeepAspectRatio).expandedTo(QSize(1, 1));
    QImage shrunk(size, QImage::Format_RGB32);
    if (shrunk.isNull())
        return {};
    QPainter painter(&shrunk);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.drawImage(QRect(QPoint(0, 0), size), image);
    painter.end();
    return shrunk;
}

} // namespace

QImage decodeJpegScaled(QByteArrayView bytes, int maxPixelSize, bool applyOrientation)
{
    thread_local Decompressor decompressor;
    if (!decompressor.handle || bytes.isEmpty())
        return {};
    const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
    int width = 0, height = 0, subsampling = 0, colorspace = 0;
    if (tjDecompressHeader3(decompressor.handle, data, static_cast<unsigned long>(bytes.size()), &width, &height, &subsampling,
                            &colorspace)
            != 0
        || width <= 0 || height <= 0 || colorspace == TJCS_CMYK || colorspace == TJCS_YCCK)
        return {};
    const tjscalingfactor scale = scaleFor(width, height, maxPixelSize);
    QImage image(TJSCALED(width, scale), TJSCALED(height, scale), QImage::Format_RGB32);
    if (image.isNull())
        return {};
    // Format_RGB32 is 0xffRRGGBB in a native word: B, G, R, 0xff in memory on little-endian,
    // which is what TJPF_BGRX writes (its padding byte is 0xff).
    static_assert(Q_BYTE_ORDER == Q_LITTLE_ENDIAN);
    if (tjDecompress2(decompressor.handle, data, static_cast<unsigned long>(bytes.size()), image.bits(), image.width(),
                      int(image.bytesPerLine()), image.height(), TJPF_BGRX, TJFLAG_NOREALLOC | TJFLAG_FASTUPSAMPLE | TJFLAG_FASTDCT)
        != 0) {
        // A warning (say, extra bytes after the image) still leaves a whole picture behind.
        if (tjGetErrorCode(decompressor.handle) != TJERR_WARNING)
            return {};
    }
    image = shrunkWithin(image, maxPixelSize);
    return applyOrientation ? orientedByExif(image, exifOrientationOf(bytes)) : image;
}

} // namespace kestrava::preview
