#include "ExifDates.h"

#include "RawSources.h"
#include "RegularFile.h"

#include "platform/Exiv2Setup.h"

#include <QFile>
#include <QHash>
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

std::optional<int> parseExifSubsecond(const QString& text)
{
    QString digits = text;
    digits.replace(QChar(0), QLatin1Char(' '));
    digits = digits.trimmed();
    if (digits.isEmpty())
        return std::nullopt;
    for (const QChar c : digits)
        if (c < QLatin1Char('0') || c > QLatin1Char('9'))
            return std::nullopt;
    return digits.left(3).leftJustified(3, QLatin1Char('0')).toInt();
}

namespace {

// Each date with the subsecond tag that belongs to it, in the order they are trusted.
struct DateTags {
    quint16 date;
    quint16 subsecond;
    const char* dateKey;
    const char* subsecondKey;
};
constexpr DateTags dateTags[] = {
    {0x9003, 0x9291, "Exif.Photo.DateTimeOriginal", "Exif.Photo.SubSecTimeOriginal"},
    {0x9004, 0x9292, "Exif.Photo.DateTimeDigitized", "Exif.Photo.SubSecTimeDigitized"},
    {0x0132, 0x9290, "Exif.Image.DateTime", "Exif.Photo.SubSecTime"},
};

// The first date that parses, with its own subsecond; `text` answers a tag's text or a null
// string when the tag is absent.
template <class TextOf>
std::optional<QDateTime> firstDate(const TextOf& text)
{
    for (const DateTags& tags : dateTags) {
        std::optional<QDateTime> date = parseExifDateTime(text(tags.date, tags.dateKey));
        if (!date)
            continue;
        if (const auto milliseconds = parseExifSubsecond(text(tags.subsecond, tags.subsecondKey)))
            date = date->addMSecs(*milliseconds);
        return date;
    }
    return std::nullopt;
}

std::optional<QDateTime> firstDate(const Exiv2::ExifData& exif)
{
    return firstDate([&exif](quint16, const char* key) {
        const auto it = exif.findKey(Exiv2::ExifKey(key));
        if (it == exif.end() || it->typeId() != Exiv2::asciiString)
            return QString();
        return QString::fromStdString(it->toString());
    });
}

// Canon's CR3 keeps its EXIF directories as separate TIFF blocks in boxes "CMT1" (IFD0) and
// "CMT2" (the EXIF directory). Exiv2 gives up on the whole file when other boxes are damaged or
// stripped; the blocks themselves are usually intact, so they are read on their own.
std::optional<QDateTime> dateFromCanonBoxes(const QString& path)
{
    QFile file(path);
    if (!preview::openRegularFile(file))
        return std::nullopt;
    if (file.peek(8).mid(4, 4) != "ftyp")
        return std::nullopt;
    const QByteArray head = file.read(4 * 1024 * 1024);
    QHash<quint16, QString> found;
    for (const char* box : {"CMT1", "CMT2"}) {
        const qsizetype at = head.indexOf(box);
        if (at < 4)
            continue;
        const quint32 boxSize = (quint32(uchar(head[at - 4])) << 24) | (quint32(uchar(head[at - 3])) << 16)
                                | (quint32(uchar(head[at - 2])) << 8) | quint32(uchar(head[at - 1]));
        const qsizetype payload = at + 4;
        const qsizetype length = std::min<qsizetype>(qsizetype(boxSize) - 8, head.size() - payload);
        if (length < 8)
            continue;
        try {
            Exiv2::ExifData exif;
            Exiv2::IptcData iptc;
            Exiv2::XmpData xmp;
            Exiv2::TiffParser::decode(exif, iptc, xmp, reinterpret_cast<const Exiv2::byte*>(head.constData() + payload), uint32_t(length));
            for (const auto& datum : exif)
                if (datum.typeId() == Exiv2::asciiString && !found.contains(datum.tag()))
                    found.insert(datum.tag(), QString::fromStdString(datum.toString()));
        } catch (const std::exception&) {
            // This block is damaged too; the other may still hold the date.
        }
    }
    return firstDate([&found](quint16 tag, const char*) { return found.value(tag); });
}

} // namespace

std::optional<QDateTime> readCaptureDate(const QString& path)
{
    if (!preview::isRegularFile(path))
        return std::nullopt;
    ensureExiv2Initialised();
    try {
        auto image = Exiv2::ImageFactory::open(QFile::encodeName(path).toStdString());
        if (image.get()) {
            image->readMetadata();
            if (auto date = firstDate(image->exifData()))
                return date;
        }
    } catch (const std::exception&) {
        // Damaged or foreign files: one more try below, else no date and the file date stays.
    }
    return dateFromCanonBoxes(path);
}

} // namespace kestrava
