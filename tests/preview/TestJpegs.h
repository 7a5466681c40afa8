#pragma once

// JPEG files whose EXIF holds exactly the tags a test names.

#include <QByteArray>
#include <QImage>
#include <QString>

#include <map>
#include <string>

namespace kestrava::test {

struct ExifTags {
    int orientation = 0;          // 0: no tag
    QByteArray dateTimeOriginal;  // empty: no tag; written as given (19 characters + NUL)
    QByteArray dateTimeDigitized;
    QByteArray dateTime;          // IFD0
};

// Baseline JPEG of `image` with an EXIF block holding exactly `tags` (Exiv2 keys → values as
// text), none when it is empty.
QByteArray jpegWithExifTags(const QImage& image, const std::map<std::string, std::string>& tags, int quality = 90);
// The same for an orientation and the three date tags.
QByteArray jpegWithExif(const QImage& image, const ExifTags& tags = {}, int quality = 90);

// An image whose left half is red and right half blue: after a turn, where red ended up
// tells which way the picture was turned.
QImage leftRedRightBlue(int width, int height);

// Dominant colour at a relative position (0..1) of `image`: 'r', 'b' or '?'.
char colourAt(const QImage& image, double x, double y);

} // namespace kestrava::test
