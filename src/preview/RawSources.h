#pragma once

// The two ways into a RAW file: its embedded JPEG previews (through LibRaw, or Exiv2 where
// LibRaw refuses the file) and a half-size development of the sensor data.

#include "PreviewRenderer.h"

#include <QByteArray>
#include <QImage>
#include <QList>
#include <QSize>
#include <optional>

namespace Exiv2 {
class ExifData;
}

namespace kestrava::preview {

// The EXIF orientation (1 to 8) the metadata records; 1 when it records none or nonsense.
int exifOrientationOf(const Exiv2::ExifData& exif);

struct EmbeddedJpeg {
    QByteArray bytes;
    QSize size;              // as stored, before orientation; may be empty when unknown
    int exifOrientation = 1; // how the camera held the shot
};

// LibRaw's choice of embedded JPEG (the largest it knows). nullopt when LibRaw cannot open the
// file, finds no thumbnail, or the thumbnail is not a JPEG. `openedByLibRaw` tells the caller
// whether asking Exiv2 is worthwhile.
std::optional<EmbeddedJpeg> libRawEmbeddedJpeg(const QString& path, bool* openedByLibRaw = nullptr);

// Exiv2's JPEG previews of the file, the one that best serves `maxPixelSize`: the smallest
// that covers it, else the largest.
std::optional<EmbeddedJpeg> exiv2EmbeddedJpeg(const QString& path, int maxPixelSize);

// Last resort for containers neither library understands (a maker note Exiv2 rejects, a
// newer DNG): JPEG streams found by scanning the file's bytes for start-of-image markers
// whose headers parse; chosen like exiv2EmbeddedJpeg. Orientation from the file's EXIF.
std::optional<EmbeddedJpeg> scannedEmbeddedJpeg(const QString& path, int maxPixelSize);

// An embedded preview below this share of the asked size is a thumbnail, not a preview.
bool isFarSmaller(QSize size, int maxPixelSize);

// The renderer's choice: LibRaw's thumbnail; Exiv2's list when LibRaw refused the file or its
// thumbnail is far smaller than asked; a byte scan when neither library could read the file.
// Only the compressed bytes, nothing decoded. `openedByLibRaw` tells whether a development
// could be tried.
std::optional<EmbeddedJpeg> bestEmbeddedJpeg(const QString& path, int maxPixelSize, bool* openedByLibRaw = nullptr);

// Half-size development of the raw data with the camera's white balance, oriented and fitted
// to `maxPixelSize`. Null when the file has no decodable raw data or `isCanceled` said stop.
QImage developHalfSize(const QString& path, int maxPixelSize, const PreviewRenderer::CancelCheck& isCanceled);

} // namespace kestrava::preview
