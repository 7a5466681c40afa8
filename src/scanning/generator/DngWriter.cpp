#include "DngWriter.h"

#include <QBuffer>
#include <QImageWriter>
#include <QtEndian>

#include <cmath>
#include <vector>

namespace kestrava::shootgen {

namespace {

enum Type : quint16 { byteType = 1, asciiType = 2, shortType = 3, longType = 4, rationalType = 5, srationalType = 10 };

struct Field {
    quint16 tag;
    quint16 type;
    quint32 count;
    QByteArray data; // little-endian values; out of line when longer than four bytes
    int patch = -1;  // >= 0: the value is an offset to be filled in (index into patch table)
};

QByteArray le16(std::initializer_list<quint16> values)
{
    QByteArray out;
    for (quint16 v : values) {
        char b[2];
        qToLittleEndian(v, b);
        out.append(b, 2);
    }
    return out;
}

QByteArray le32(std::initializer_list<quint32> values)
{
    QByteArray out;
    for (quint32 v : values) {
        char b[4];
        qToLittleEndian(v, b);
        out.append(b, 4);
    }
    return out;
}

Field ascii(quint16 tag, const QString& text)
{
    const QByteArray bytes = text.toLatin1() + '\0';
    return {tag, asciiType, quint32(bytes.size()), bytes};
}
Field shorts(quint16 tag, std::initializer_list<quint16> values) { return {tag, shortType, quint32(values.size()), le16(values)}; }
Field longs(quint16 tag, std::initializer_list<quint32> values) { return {tag, longType, quint32(values.size()), le32(values)}; }
Field bytes(quint16 tag, std::initializer_list<quint8> values)
{
    QByteArray data;
    for (quint8 v : values)
        data.append(char(v));
    return {tag, byteType, quint32(values.size()), data};
}
Field srationals(quint16 tag, const std::vector<double>& values)
{
    QByteArray data;
    for (double v : values) {
        data.append(le32({quint32(qint32(std::lround(v * 10000)))}));
        data.append(le32({10000}));
    }
    return {tag, srationalType, quint32(values.size()), data};
}
Field rationals(quint16 tag, const std::vector<double>& values)
{
    QByteArray data;
    for (double v : values) {
        data.append(le32({quint32(std::lround(v * 10000))}));
        data.append(le32({10000}));
    }
    return {tag, rationalType, quint32(values.size()), data};
}
Field offsetTo(quint16 tag, int patch) { return {tag, longType, 1, le32({0}), patch}; }

// Serialises IFDs and blobs; offsets between them are resolved once everything is placed.
class TiffBuilder {
public:
    // Each IFD's fields must be sorted by tag; blobs are appended after all IFDs.
    int addBlob(QByteArray blob)
    {
        blobs_.push_back(std::move(blob));
        return int(blobs_.size()) - 1;
    }
    void addIfd(std::vector<Field> fields) { ifds_.push_back(std::move(fields)); }

    // Patches: 0..n-1 refer to blobs by index; 1000+i refers to IFD i.
    QByteArray build() const
    {
        // Pass 1: place IFDs with their out-of-line data, then blobs.
        std::vector<quint32> ifdOffsets, blobOffsets;
        quint32 pos = 8;
        for (const auto& fields : ifds_) {
            ifdOffsets.push_back(pos);
            pos += 2 + 12 * quint32(fields.size()) + 4;
            for (const Field& f : fields)
                if (f.data.size() > 4)
                    pos += quint32(f.data.size() + (f.data.size() & 1));
        }
        for (const QByteArray& blob : blobs_) {
            pos += pos & 1;
            blobOffsets.push_back(pos);
            pos += quint32(blob.size());
        }
        auto resolve = [&](int patch) { return patch >= 1000 ? ifdOffsets[size_t(patch - 1000)] : blobOffsets[size_t(patch)]; };

        QByteArray out("II*\0", 4);
        out.append(le32({ifdOffsets.empty() ? 0 : ifdOffsets[0]}));
        for (size_t i = 0; i < ifds_.size(); ++i) {
            const auto& fields = ifds_[i];
            quint32 dataPos = ifdOffsets[i] + 2 + 12 * quint32(fields.size()) + 4;
            QByteArray outOfLine;
            out.append(le16({quint16(fields.size())}));
            for (const Field& f : fields) {
                out.append(le16({f.tag, f.type}));
                out.append(le32({f.count}));
                if (f.patch >= 0) {
                    out.append(le32({resolve(f.patch)}));
                } else if (f.data.size() <= 4) {
                    out.append(f.data.leftJustified(4, '\0'));
                } else {
                    out.append(le32({dataPos}));
                    QByteArray padded = f.data;
                    if (padded.size() & 1)
                        padded.append('\0');
                    outOfLine.append(padded);
                    dataPos += quint32(padded.size());
                }
            }
            out.append(le32({linksToNext(i) && i + 1 < ifds_.size() ? ifdOffsets[i + 1] : 0}));
            out.append(outOfLine);
        }
        for (size_t b = 0; b < blobs_.size(); ++b) {
            if (out.size() & 1)
                out.append('\0');
            out.append(blobs_[b]);
        }
        return out;
    }

    // Whether IFD i chains to IFD i+1 (IFD0 → IFD1); sub-directories such as EXIF do not.
    void setChain(std::vector<bool> links) { nextIfdLinks_ = std::move(links); }

private:
    bool linksToNext(size_t i) const { return i < nextIfdLinks_.size() && nextIfdLinks_[i]; }

    std::vector<std::vector<Field>> ifds_;
    std::vector<QByteArray> blobs_;
    std::vector<bool> nextIfdLinks_;
};

QByteArray encodeJpeg(const QImage& image, int quality)
{
    QByteArray out;
    QBuffer buffer(&out);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "jpeg");
    writer.setQuality(quality);
    return writer.write(image) ? out : QByteArray();
}

// RGGB mosaic, 12-bit linear values in 16-bit words.
QByteArray mosaic(const QImage& picture, QSize size)
{
    const QImage scaled = picture.convertToFormat(QImage::Format_RGB32).scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    static const std::vector<quint16> linear = [] {
        std::vector<quint16> table(256);
        for (int v = 0; v < 256; ++v) {
            const double c = v / 255.0;
            const double lin = c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
            table[size_t(v)] = quint16(std::lround(lin * 4095));
        }
        return table;
    }();
    QByteArray out;
    out.reserve(qsizetype(size.width()) * size.height() * 2);
    for (int y = 0; y < size.height(); ++y) {
        const QRgb* row = reinterpret_cast<const QRgb*>(scaled.constScanLine(y));
        for (int x = 0; x < size.width(); ++x) {
            const QRgb p = row[x];
            const int value = (y % 2 == 0) ? (x % 2 == 0 ? qRed(p) : qGreen(p)) : (x % 2 == 0 ? qGreen(p) : qBlue(p));
            out.append(le16({linear[size_t(value)]}));
        }
    }
    return out;
}

} // namespace

QByteArray dngBytes(const QImage& picture, const CameraTags& tags, const DngOptions& options)
{
    if (picture.isNull())
        return {};
    const QSize rawSize(options.rawSize.width() & ~1, options.rawSize.height() & ~1);
    if (rawSize.width() < 2 || rawSize.height() < 2)
        return {};
    const QString date = tags.captureDate.toString(QStringLiteral("yyyy:MM:dd HH:mm:ss"));

    TiffBuilder tiff;
    const int rawBlob = tiff.addBlob(mosaic(picture, rawSize));
    const QByteArray preview = options.previewLongSide > 0
                                   ? encodeJpeg(picture.scaled(options.previewLongSide, options.previewLongSide, Qt::KeepAspectRatio, Qt::SmoothTransformation),
                                                options.previewQuality)
                                   : QByteArray();
    const int previewBlob = preview.isEmpty() ? -1 : tiff.addBlob(preview);
    const QSize previewSize = preview.isEmpty() ? QSize() : picture.size().scaled(options.previewLongSide, options.previewLongSide, Qt::KeepAspectRatio);

    // Camera space = linear sRGB: the XYZ (D65) to linear sRGB matrix.
    const std::vector<double> colorMatrix{3.2406, -1.5372, -0.4986, -0.9689, 1.8758, 0.0415, 0.0557, -0.2040, 1.0570};
    const int exifIfd = 1000 + (previewBlob >= 0 ? 2 : 1);
    tiff.addIfd({
        longs(0x00FE, {0}),                                   // NewSubfileType: main image
        longs(0x0100, {quint32(rawSize.width())}),
        longs(0x0101, {quint32(rawSize.height())}),
        shorts(0x0102, {16}),
        shorts(0x0103, {1}),                                  // uncompressed
        shorts(0x0106, {32803}),                              // CFA
        ascii(0x010F, tags.make),
        ascii(0x0110, tags.model),
        offsetTo(0x0111, rawBlob),
        shorts(0x0112, {quint16(options.orientation)}),
        shorts(0x0115, {1}),
        longs(0x0116, {quint32(rawSize.height())}),
        longs(0x0117, {quint32(rawSize.width() * rawSize.height() * 2)}),
        shorts(0x011C, {1}),
        ascii(0x0132, date),
        shorts(0x828D, {2, 2}),                               // CFARepeatPatternDim
        bytes(0x828E, {0, 1, 1, 2}),                          // CFAPattern RGGB
        offsetTo(0x8769, exifIfd),
        bytes(0xC612, {1, 4, 0, 0}),                          // DNGVersion
        bytes(0xC613, {1, 1, 0, 0}),                          // DNGBackwardVersion
        ascii(0xC614, tags.make + QLatin1Char(' ') + tags.model),
        shorts(0xC61A, {0}),                                  // BlackLevel
        shorts(0xC61D, {4095}),                               // WhiteLevel
        srationals(0xC621, colorMatrix),                      // ColorMatrix1
        rationals(0xC628, {1.0, 1.0, 1.0}),                   // AsShotNeutral
        shorts(0xC65A, {21}),                                 // CalibrationIlluminant1: D65
    });
    if (previewBlob >= 0) {
        tiff.addIfd({
            longs(0x00FE, {1}),                               // reduced-resolution image
            longs(0x0100, {quint32(previewSize.width())}),
            longs(0x0101, {quint32(previewSize.height())}),
            shorts(0x0102, {8, 8, 8}),
            shorts(0x0103, {6}),                              // JPEG
            shorts(0x0106, {6}),                              // YCbCr
            shorts(0x0115, {3}),
            offsetTo(0x0201, previewBlob),
            longs(0x0202, {quint32(preview.size())}),
        });
    }
    const QString subSecond = QString::number(tags.subSecond).rightJustified(2, QLatin1Char('0'));
    tiff.addIfd({
        ascii(0x9003, date),
        ascii(0x9004, date),
        ascii(0x9290, subSecond),
        ascii(0x9291, subSecond),
        ascii(0x9292, subSecond),
    });
    tiff.setChain({previewBlob >= 0, false, false});
    return tiff.build();
}

} // namespace kestrava::shootgen
