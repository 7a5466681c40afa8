#include "EmbeddedThumbnail.h"

#include "RawSources.h"
#include "RegularFile.h"
#include "ScaledDecode.h"
#include "TurboDecode.h"

#include "platform/Exiv2Setup.h"

#include <QBuffer>
#include <QFile>

#include <exiv2/exiv2.hpp>

namespace kestrava::preview {

QImage embeddedThumbnail(const QString& path, int maxPixelSize)
{
    if (maxPixelSize <= 0 || !isRegularFile(path))
        return {};
    ensureExiv2Initialised();
    try {
        auto image = Exiv2::ImageFactory::open(QFile::encodeName(path).toStdString());
        if (!image.get())
            return {};
        image->readMetadata();
        Exiv2::PreviewManager manager(*image);
        // Sorted by size, smallest first; the size is read from each stream's own header.
        const Exiv2::PreviewPropertiesList list = manager.getPreviewProperties();
        const auto smallest = std::find_if(list.begin(), list.end(), [](const Exiv2::PreviewProperties& p) {
            return p.mimeType_ == "image/jpeg" && std::max(p.width_, p.height_) >= uint32_t(smallestUsefulSide);
        });
        if (smallest == list.end())
            return {};
        const Exiv2::PreviewImage preview = manager.getPreviewImage(*smallest);
        const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char*>(preview.pData()), qsizetype(preview.size()));
        if (!looksLikeJpeg(bytes))
            return {};
        // The thumbnail is stored as the sensor saw it, like the photo; the photo's tag turns it.
        QImage decoded = decodeJpegScaled(bytes, maxPixelSize, false);
        if (decoded.isNull()) {
            QByteArray copy = bytes;
            QBuffer buffer(&copy);
            if (buffer.open(QIODevice::ReadOnly))
                decoded = decodeScaled(buffer, maxPixelSize, false);
        }
        return decoded.isNull() ? decoded : orientedByExif(decoded, exifOrientationOf(image->exifData()));
    } catch (const std::exception&) {
        return {}; // Exiv2::AnyError and allocation failures on damaged files
    }
}

} // namespace kestrava::preview
