#pragma once

// JPEG decoding at preview size: libjpeg-turbo (through Qt's JPEG reader) scales in the DCT,
// so a 24-megapixel file is never expanded to full size first.

#include <QImage>
#include <QIODevice>

namespace kestrava::preview {

// Decodes the image on `device` so that its longer side is at most `maxPixelSize`
// (never enlarged). With `applyOrientation` the file's own EXIF orientation is applied.
// A null image when the data is not a decodable image.
QImage decodeScaled(QIODevice& device, int maxPixelSize, bool applyOrientation);

// Turns an image by an EXIF orientation value (1 to 8; anything else leaves it unchanged).
QImage orientedByExif(const QImage& image, int exifOrientation);

// Shrinks `image` to fit `maxPixelSize` on its longer side, keeping the aspect ratio.
QImage fittedWithin(const QImage& image, int maxPixelSize);

// True when `head` starts like a JPEG stream (SOI followed by a marker).
bool looksLikeJpeg(QByteArrayView head);

} // namespace kestrava::preview
