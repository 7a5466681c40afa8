#include "SidecarRule.h"

#include "Text.h"

#include <algorithm>

namespace kestrava {

namespace {

QString stemOf(const QString& name)
{
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    return dot <= 0 ? name : name.left(dot);
}

QString suffixOf(const QString& name)
{
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    return dot <= 0 ? QString() : name.mid(dot + 1);
}

} // namespace

bool isRawPhoto(const PhotoItem& photo)
{
    return photo.formatGroup == PhotoFormatGroup::raw
        || formatGroupForFileName(photo.sourceURL.fileName()) == PhotoFormatGroup::raw;
}

bool shouldAttachSidecar(const QList<PhotoItem>& photos, const QList<PhotoItem>& allPeers)
{
    if (std::any_of(photos.begin(), photos.end(), isRawPhoto))
        return true;
    return !std::any_of(allPeers.begin(), allPeers.end(), isRawPhoto);
}

QString sidecarPairingKey(const QString& path)
{
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    const QString folder = slash <= 0 ? QStringLiteral("/") : path.left(slash);
    return text::nfc(folder).toLower() + QLatin1Char('|') + text::nfc(stemOf(path.mid(slash + 1))).toLower();
}

QString sidecarNameFor(const QString& photoName, const QString& sidecarName)
{
    return stemOf(photoName) + QLatin1Char('.') + suffixOf(sidecarName);
}

bool isSidecarName(const QString& name)
{
    return suffixOf(name).compare(QLatin1String("xmp"), Qt::CaseInsensitive) == 0;
}

} // namespace kestrava
