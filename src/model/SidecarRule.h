#pragma once

// Which photo of a motif an XMP sidecar belongs to, and the name it takes beside that photo.
// The sidecar holds the user's edits and ratings: it goes where its photo goes, so the two
// are never separated.

#include "PhotoModel.h"

#include <QList>
#include <QString>

namespace kestrava {

bool isRawPhoto(const PhotoItem& photo);

// A sidecar follows the RAW of its motif: attach when one of `photos` is a RAW; otherwise
// (lone JPEGs) only when none of `allPeers` (every photo with the same pairing key, decided
// or not) is a RAW, so that a JPEG never takes away the sidecar its RAW needs.
bool shouldAttachSidecar(const QList<PhotoItem>& photos, const QList<PhotoItem>& allPeers);

// The photos and sidecars of one motif share this key: folder and name stem, Unicode-normalised
// and case-folded ("/a/IMG_1.CR3" and "/a/img_1.xmp" meet).
QString sidecarPairingKey(const QString& path);

// The sidecar's name beside a photo named `photoName`: the photo's stem with the sidecar's own
// extension ("IMG_1 2.CR3" with "IMG_1.XMP" gives "IMG_1 2.XMP").
QString sidecarNameFor(const QString& photoName, const QString& sidecarName);

// Whether a file name has the XMP extension (any case).
bool isSidecarName(const QString& name);

} // namespace kestrava
