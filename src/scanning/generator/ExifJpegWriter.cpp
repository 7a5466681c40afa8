#include "ShootImages.h"

#include "platform/Exiv2Setup.h"

#include <QBuffer>
#include <QImageWriter>

// Exiv2 0.27 still hands out std::auto_ptr.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#include <exiv2/exiv2.hpp>

namespace kestrava::shootgen {

QByteArray encodeJpeg(const QImage& picture, int quality)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "jpeg");
    writer.setQuality(quality);
    if (!writer.write(picture))
        return {};
    return bytes;
}

QByteArray jpegWithExif(const QImage& picture, int quality, const CameraTags& tags)
{
    const QByteArray plain = encodeJpeg(picture, quality);
    if (plain.isEmpty())
        return {};
    ensureExiv2Initialised();
    try {
        Exiv2::Image::AutoPtr image =
            Exiv2::ImageFactory::open(reinterpret_cast<const Exiv2::byte*>(plain.constData()), long(plain.size()));
        Exiv2::ExifData exif;
        const std::string date = tags.captureDate.toString(QStringLiteral("yyyy:MM:dd HH:mm:ss")).toStdString();
        const std::string subSecond = QString::number(tags.subSecond).rightJustified(2, QLatin1Char('0')).toStdString();
        exif["Exif.Image.Make"] = tags.make.toStdString();
        exif["Exif.Image.Model"] = tags.model.toStdString();
        exif["Exif.Image.Orientation"] = uint16_t(1);
        exif["Exif.Image.DateTime"] = date;
        exif["Exif.Photo.DateTimeOriginal"] = date;
        exif["Exif.Photo.DateTimeDigitized"] = date;
        exif["Exif.Photo.SubSecTimeOriginal"] = subSecond;
        exif["Exif.Photo.SubSecTimeDigitized"] = subSecond;
        exif["Exif.Photo.SubSecTime"] = subSecond;
        exif["Exif.Photo.PixelXDimension"] = uint32_t(picture.width());
        exif["Exif.Photo.PixelYDimension"] = uint32_t(picture.height());
        // As a camera does: a small copy of the picture beside it, the EXIF thumbnail.
        constexpr int thumbnailWidth = 160, thumbnailHeight = 120;
        if (picture.width() > thumbnailWidth && picture.height() > thumbnailHeight) {
            const QByteArray thumbnail = encodeJpeg(picture.scaled(thumbnailWidth, thumbnailHeight, Qt::KeepAspectRatio), 75);
            Exiv2::ExifThumb(exif).setJpegThumbnail(reinterpret_cast<const Exiv2::byte*>(thumbnail.constData()), long(thumbnail.size()));
        }
        image->setExifData(exif);
        image->writeMetadata();
        Exiv2::BasicIo& io = image->io();
        io.seek(0, Exiv2::BasicIo::beg);
        const Exiv2::DataBuf data = io.read(long(io.size()));
        return QByteArray(reinterpret_cast<const char*>(data.pData_), qsizetype(data.size_));
    } catch (const Exiv2::Error&) {
        return {};
    }
}

} // namespace kestrava::shootgen

#pragma GCC diagnostic pop
