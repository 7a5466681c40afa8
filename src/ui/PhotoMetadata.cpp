#include "PhotoMetadata.h"
#include "platform/Exiv2Setup.h"
#include "preview/RegularFile.h"

#include <exiv2/exiv2.hpp>

#include <QLocale>
#include <cmath>

namespace kestrava::PhotoMetadata {

using namespace Qt::StringLiterals;

namespace {

QString decimal(double value, int maxDecimals)
{
    // German decimal comma, no trailing zeros: 2,8 · 4 · 0,5
    QString text = QLocale(QLocale::German).toString(value, 'f', maxDecimals);
    if (text.contains(u',')) {
        while (text.endsWith(u'0'))
            text.chop(1);
        if (text.endsWith(u','))
            text.chop(1);
    }
    return text;
}

QString stringValue(const Exiv2::ExifData& exif, const char* key)
{
    const auto it = exif.findKey(Exiv2::ExifKey(key));
    if (it == exif.end())
        return {};
    return QString::fromStdString(it->toString()).trimmed();
}

std::optional<double> rationalValue(const Exiv2::ExifData& exif, const char* key)
{
    const auto it = exif.findKey(Exiv2::ExifKey(key));
    if (it == exif.end() || it->count() == 0)
        return std::nullopt;
    const Exiv2::Rational r = it->toRational(0);
    if (r.second == 0)
        return std::nullopt;
    return double(r.first) / double(r.second);
}

} // namespace

QString cameraName(const QString& make, const QString& model)
{
    const QString m = make.trimmed(), mo = model.trimmed();
    if (mo.isEmpty())
        return m;
    if (m.isEmpty() || mo.startsWith(m.section(u' ', 0, 0), Qt::CaseInsensitive))
        return mo;
    return m + u' ' + mo;
}

QString formatAperture(double fNumber)
{
    return u"f/"_s + decimal(fNumber, 1);
}

QString formatExposureTime(double seconds)
{
    if (seconds <= 0)
        return {};
    if (seconds < 0.3) {
        // Shutter speeds are named by their reciprocal: 1/250 s.
        return u"1/"_s + QString::number(qRound(1.0 / seconds)) + u" s"_s;
    }
    return decimal(seconds, 1) + u" s"_s;
}

QString formatFocalLength(double millimetres)
{
    return decimal(millimetres, 1) + u" mm"_s;
}

QString formatPixelSize(QSize size)
{
    if (size.isEmpty())
        return {};
    return QString::number(size.width()) + u" × "_s + QString::number(size.height());
}

Details read(const QString& path)
{
    Details details;
    // A FIFO named like a photo would block the open forever.
    if (!preview::isRegularFile(path))
        return details;
    ensureExiv2Initialised();
    try {
        auto image = Exiv2::ImageFactory::open(path.toStdString());
        if (!image.get())
            return details;
        image->readMetadata();
        const Exiv2::ExifData& exif = image->exifData();
        for (const char* key : {"Exif.Photo.DateTimeOriginal", "Exif.Photo.DateTimeDigitized", "Exif.Image.DateTime"}) {
            const QDateTime date = QDateTime::fromString(stringValue(exif, key), u"yyyy:MM:dd HH:mm:ss"_s);
            if (date.isValid()) {
                details.captureDate = date;
                break;
            }
        }
        details.camera = cameraName(stringValue(exif, "Exif.Image.Make"), stringValue(exif, "Exif.Image.Model"));
        details.lens = stringValue(exif, "Exif.Photo.LensModel");
        details.focalLength = rationalValue(exif, "Exif.Photo.FocalLength");
        details.aperture = rationalValue(exif, "Exif.Photo.FNumber");
        details.exposureTime = rationalValue(exif, "Exif.Photo.ExposureTime");
        if (const QString iso = stringValue(exif, "Exif.Photo.ISOSpeedRatings"); !iso.isEmpty())
            details.iso = iso.section(u' ', 0, 0).toInt();
        const int w = stringValue(exif, "Exif.Photo.PixelXDimension").toInt();
        const int h = stringValue(exif, "Exif.Photo.PixelYDimension").toInt();
        details.pixelSize = w > 0 && h > 0 ? QSize(w, h) : QSize(image->pixelWidth(), image->pixelHeight());
    } catch (...) {
        // Inspector values are a courtesy: an unreadable file just shows dashes.
    }
    return details;
}

QList<Line> lines(const Details& d)
{
    const QString none = u"–"_s;
    auto orNone = [&](const QString& text) { return text.isEmpty() ? none : text; };
    return {
        {u"Aufnahmedatum"_s, orNone(d.captureDate.isValid() ? d.captureDate.toString(u"dd.MM.yyyy, HH:mm:ss"_s) : QString())},
        {u"Kamera"_s, orNone(d.camera)},
        {u"Objektiv"_s, orNone(d.lens)},
        {u"Brennweite"_s, orNone(d.focalLength ? formatFocalLength(*d.focalLength) : QString())},
        {u"Blende"_s, orNone(d.aperture ? formatAperture(*d.aperture) : QString())},
        {u"Belichtungszeit"_s, orNone(d.exposureTime ? formatExposureTime(*d.exposureTime) : QString())},
        {u"ISO"_s, orNone(d.iso && *d.iso > 0 ? QString::number(*d.iso) : QString())},
        {u"Pixelmaße"_s, orNone(formatPixelSize(d.pixelSize))},
    };
}

} // namespace kestrava::PhotoMetadata
