#pragma once

// The smallest picture a photo file carries beside its own image data: a JPEG's EXIF thumbnail,
// a RAW file's smallest embedded preview. Found through the metadata, so reading it costs a
// fraction of a millisecond where a full preview costs tens: it fills the stage on a jump to a
// photo whose preview is not ready yet.

#include <QImage>
#include <QString>

namespace kestrava::preview {

// Pictures smaller than this on their longer side are placeholders (some cameras embed 8×8
// dummies): stretched over the stage they would show nothing of the photo.
inline constexpr int smallestUsefulSide = 100;

// The file's smallest embedded JPEG of at least `smallestUsefulSide`, decoded no larger than
// `maxPixelSize` and turned as the camera was held. Null when the file has none or cannot be
// read; never throws.
QImage embeddedThumbnail(const QString& path, int maxPixelSize);

} // namespace kestrava::preview
