#include "ScaledDecode.h"

#include <QImageReader>
#include <QTransform>

namespace kestrava::preview {

QImage decodeScaled(QIODevice& device, int maxPixelSize, bool applyOrientation)
{
    QImageReader reader(&device);
    reader.setAutoTransform(applyOrientation);
    // The stored size comes from the header alone; the bounding box is square, so it does not
    // matter that orientation is applied after scaling.
    const QSize stored = reader.size();
    if (!stored.isValid() || stored.isEmpty())
        return {};
    if (maxPixelSize > 0 && (stored.width() > maxPixelSize || stored.height() > maxPixelSize))
        reader.setScaledSize(stored.scaled(maxPixelSize, maxPixelSize, Qt::KeepAspectRatio).expandedTo(QSize(1, 1)));
    QImage image;
    if (!reader.read(&image) || image.isNull())
        return {};
    return image;
}

QImage orientedByExif(const QImage& image, int exifOrientation)
{
    switch (exifOrientation) {
    case 2: return image.mirrored(true, false);
    case 3: return image.transformed(QTransform().rotate(180));
    case 4: return image.mirrored(false, true);
    case 5: return image.transformed(QTransform().rotate(90)).mirrored(true, false);
    case 6: return image.transformed(QTransform().rotate(90));
    case 7: return image.transformed(QTransform().rotate(270)).mirrored(true, false);
    case 8: return image.transformed(QTransform().rotate(270));
    default: return image;
    }
}

QImage fittedWithin(const QImage& image, int maxPixelSize)
{
    if (image.isNull() || maxPixelSize <= 0 || (image.width() <= maxPixelSize && image.height() <= maxPixelSize))
        return image;
    return image.scaled(maxPixelSize, maxPixelSize, Qt::KeepAspectRatio, Qt::SmoothTransformation);
}

bool looksLikeJpeg(QByteArrayView head)
{
    return head.size() >= 3 && uchar(head[0]) == 0xFF && uchar(head[1]) == 0xD8 && uchar(head[2]) == 0xFF;
}

} // namespace kestrava::preview
