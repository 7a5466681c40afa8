#pragma once

// Real, small DNG files as RAW partners of synthetic shots: a Bayer mosaic of the picture that
// LibRaw can develop, an embedded JPEG preview, and the EXIF capture dates.
//
// Layout (little-endian TIFF, DNG 1.4):
//   IFD0  the raw image: 16-bit CFA (RGGB), uncompressed, one strip; DNG colour tags with the
//         camera space equal to linear sRGB; Make, Model, Orientation, DateTime; pointer to
//         the EXIF directory (DateTimeOriginal, DateTimeDigitized, SubSecTimeOriginal).
//   IFD1  the preview: a baseline JPEG referenced by JPEGInterchangeFormat/Length, the way EXIF
//         thumbnails are stored, so LibRaw and Exiv2 both find it.

#include "ShootImages.h"

#include <QByteArray>
#include <QImage>
#include <QSize>

namespace kestrava::shootgen {

struct DngOptions {
    QSize rawSize{640, 428};    // sensor size; rounded down to even numbers
    int previewLongSide = 1024; // 0: no preview
    int previewQuality = 85;
    int orientation = 1;        // EXIF orientation of the shot
};

// The DNG of `picture` (scaled to the sensor size). Empty on failure.
QByteArray dngBytes(const QImage& picture, const CameraTags& tags, const DngOptions& options = {});

} // namespace kestrava::shootgen
