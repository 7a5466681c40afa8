#pragma once

// The XMP sidecars on disk beside a photo. One listing per folder for the life of the object:
// thousands of photos usually share one folder.

#include <QHash>
#include <QString>
#include <QStringList>

namespace kestrava {

class SidecarListing {
public:
    // Every regular (not linked) .xmp file whose sidecarPairingKey is the photo's, in name
    // order. More than one means the photo's sidecar is ambiguous; the caller decides what
    // that refuses.
    QStringList sidecarsOf(const QString& photoPath);

private:
    QHash<QString, QHash<QString, QStringList>> byFolder_;
};

} // namespace kestrava
