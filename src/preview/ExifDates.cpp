#include "ExifDates.h"

#include "RawSources.h"

#include <QFile>
#include <exiv2/exiv2.hpp>

namespace kestrava {

std::optional<QDateTime> parseExifDateTime(const QString& text)
{
    QString trimmed = text;
    while (!trimmed.isEmpty() && (trimmed.back() == QChar(0) || trimmed.back().isSpace()))
        trimmed.chop(1);
    if (trimmed.size() != 19)
        return std::nullopt;
    const QDateTime parsed = QDateTime::fromString(trimmed, QStringLiteral("yyyy:MM:dd HH:mm:ss"));
    if (!parsed.isValid())
        return std::nullopt;
    return parsed;
}

std::optional<QDateTime> readCaptureDate(const QString& path)
{
    preview::ensureExiv2Initialised();
    try {
        auto image = Exiv2::ImageFactory::open(QFile::encodeName(path).toStdString());
        if (!image.get())
            return std::nullopt;
        image->readMetadata();
        const Exiv2::ExifData& exif = image->exifData();
        for (const char* key : {"Exif.Photo.DateTimeOriginal", "Exif.Photo.DateTimeDigitized", "Exif.Image.DateTime"}) {
            const auto it = exif.findKey(Exiv2::ExifKey(key));
            if (it == exif.end() || it->typeId() != Exiv2::asciiString)
                continue;
            if (auto date = parseExifDateTime(QString::fromStdString(it->toString())))
                return date;
        }
    } catch (const std::exception&) {
        // Damaged or foreign files have no date; the caller keeps the file date.
    }
    return std::nullopt;
}

} // namespace kestrava
