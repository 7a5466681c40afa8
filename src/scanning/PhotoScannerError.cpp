#include "PhotoScannerError.h"

namespace kestrava {

PhotoScannerError PhotoScannerError::folderUnavailable(QString folderPath, int errorNumber)
{
    return PhotoScannerError(Kind::folderUnavailable, std::move(folderPath), errorNumber);
}

QString PhotoScannerError::description() const
{
    switch (kind_) {
    case Kind::folderUnavailable:
        return QStringLiteral("Der ausgewählte Ordner konnte nicht gelesen werden.");
    }
    return {};
}

} // namespace kestrava
