#include "TestJpegs.h"

#include <QBuffer>
#include <QImageWriter>

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#include <exiv2/exiv2.hpp>

namespace kestrava::test {

QByteArray jpegWithExifTags(const QImage& image, const std::map<std::string, std::string>& tags, int quality)
{
    QByteArray jpeg;
    QBuffer buffer(&jpeg);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "jpeg");
    writer.setQuality(quality);
    writer.write(image);
    buffer.close();
    if (tags.empty())
        return jpeg;
    auto file = Exiv2::ImageFactory::open(reinterpret_cast<const Exiv2::byte*>(jpeg.constData()), long(jpeg.size()));
    Exiv2::ExifData exif;
    for (const auto& [key, value] : tags)
        exif[key] = value;
    file->setExifData(exif);
    file->writeMetadata();
    Exiv2::BasicIo& io = file->io();
    io.seek(0, Exiv2::BasicIo::beg);
    const Exiv2::DataBuf data = io.read(long(io.size()));
    return QByteArray(reinterpret_cast<const char*>(data.pData_), qsizetype(data.size_));
}

QByteArray jpegWithExif(const QImage& image, const ExifTags& tags, int quality)
{
    std::map<std::string, std::string> named;
    if (tags.orientation)
        named["Exif.Image.Orientation"] = std::to_string(tags.orientation);
    for (const auto& [key, value] : {std::pair{"Exif.Photo.DateTimeOriginal", tags.dateTimeOriginal},
                                     std::pair{"Exif.Photo.DateTimeDigitized", tags.dateTimeDigitized},
                                     std::pair{"Exif.Image.DateTime", tags.dateTime}})
        if (!value.isEmpty())
            named[key] = value.toStdString();
    return jpegWithExifTags(image, named, quality);
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

#pragma GCC diagnostic pop
