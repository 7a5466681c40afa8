#include "TestJpegs.h"

#include <QBuffer>
#include <QImageWriter>
#include <QtEndian>
#include <vector>

namespace kestrava::test {

namespace {

struct Entry {
    quint16 tag;
    quint16 type;  // 2 ASCII, 3 SHORT, 4 LONG
    QByteArray value; // ASCII bytes, or the number for SHORT/LONG as 4 bytes
    quint32 number = 0;
};

// Little-endian TIFF: IFD0 at offset 8, then the EXIF sub-IFD, then out-of-line strings.
QByteArray tiffBlock(const ExifTags& tags)
{
    std::vector<Entry> ifd0, exif;
    if (tags.orientation)
        ifd0.push_back({0x0112, 3, {}, quint32(tags.orientation)});
    if (!tags.dateTime.isEmpty())
        ifd0.push_back({0x0132, 2, tags.dateTime + '\0'});
    if (!tags.dateTimeOriginal.isEmpty())
        exif.push_back({0x9003, 2, tags.dateTimeOriginal + '\0'});
    if (!tags.dateTimeDigitized.isEmpty())
        exif.push_back({0x9004, 2, tags.dateTimeDigitized + '\0'});
    if (!exif.empty())
        ifd0.push_back({0x8769, 4, {}, 0}); // offset patched below

    auto ifdSize = [](const std::vector<Entry>& e) { return e.empty() ? 0 : 2 + 12 * int(e.size()) + 4; };
    const int ifd0Offset = 8;
    const int exifOffset = ifd0Offset + ifdSize(ifd0);
    int dataOffset = exifOffset + ifdSize(exif);
    for (Entry& e : ifd0)
        if (e.tag == 0x8769)
            e.number = quint32(exifOffset);

    QByteArray out("II*\0", 4);
    auto put16 = [&out](quint16 v) { char b[2]; qToLittleEndian(v, b); out.append(b, 2); };
    auto put32 = [&out](quint32 v) { char b[4]; qToLittleEndian(v, b); out.append(b, 4); };
    put32(ifd0Offset);
    QByteArray data;
    auto writeIfd = [&](const std::vector<Entry>& entries) {
        if (entries.empty())
            return;
        put16(quint16(entries.size()));
        for (const Entry& e : entries) {
            put16(e.tag);
            put16(e.type);
            if (e.type == 2) {
                put32(quint32(e.value.size()));
                if (e.value.size() <= 4) {
                    out.append(e.value.leftJustified(4, '\0'));
                } else {
                    put32(quint32(dataOffset + data.size()));
                    data.append(e.value);
                }
            } else if (e.type == 3) {
                put32(1);
                put16(quint16(e.number));
                put16(0);
            } else {
                put32(1);
                put32(e.number);
            }
        }
        put32(0);
    };
    writeIfd(ifd0);
    writeIfd(exif);
    Q_ASSERT(out.size() == dataOffset);
    out.append(data);
    return out;
}

} // namespace

QByteArray jpegWithExif(const QImage& image, const ExifTags& tags, int quality)
{
    QByteArray jpeg;
    QBuffer buffer(&jpeg);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "jpeg");
    writer.setQuality(quality);
    writer.write(image);
    buffer.close();
    if (!tags.orientation && tags.dateTime.isEmpty() && tags.dateTimeOriginal.isEmpty() && tags.dateTimeDigitized.isEmpty())
        return jpeg;
    const QByteArray payload = QByteArray("Exif\0\0", 6) + tiffBlock(tags);
    QByteArray segment("\xFF\xE1", 2);
    char length[2];
    qToBigEndian(quint16(payload.size() + 2), length);
    segment.append(length, 2);
    segment.append(payload);
    // Right after SOI, before Qt's JFIF APP0: readers accept either order.
    return jpeg.left(2) + segment + jpeg.mid(2);
}

QImage leftRedRightBlue(int width, int height)
{
    QImage image(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            image.setPixel(x, y, x < width / 2 ? qRgb(230, 20, 20) : qRgb(20, 20, 230));
    return image;
}

char colourAt(const QImage& image, double x, double y)
{
    const QRgb pixel = image.pixel(std::min(image.width() - 1, int(x * image.width())), std::min(image.height() - 1, int(y * image.height())));
    if (qRed(pixel) > 150 && qBlue(pixel) < 100)
        return 'r';
    if (qBlue(pixel) > 150 && qRed(pixel) < 100)
        return 'b';
    return '?';
}

} // namespace kestrava::test
