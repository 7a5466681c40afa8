#pragma once

#include "TrashTypes.h"

#include "model/PhotoModel.h"

namespace kestrava::TrashGroupPlanner {

// The key that makes files the formats of one motif: lower-cased NFC folder path, "|",
// lower-cased NFC file name without its extension.
QString pairingKey(const QString& path);

// A sidecar follows the RAW of its motif: attach when one of `photos` is a RAW; otherwise
// not when a RAW is among `allPeers`; otherwise attach.
bool shouldAttachSidecar(const QList<PhotoItem>& photos, const QList<PhotoItem>& allPeers);

// Groups the photos that go to the Trash, in file-browser order of their paths. Photos that
// share a pairing key form one group; a single regular, non-link XMP sidecar beside them with
// the same key joins it when shouldAttachSidecar says so; two or more sidecars refuse the group
// ("Mehrere XMP-Sidecars für " + the first photo's name). `allPhotos` is every photo of the
// run, kept ones included, so that a kept RAW keeps its sidecar; when empty, only `photos`
// count as peers. Each group gets a fresh UUID.
QList<TrashGroup> build(const QList<PhotoItem>& photos, const QList<PhotoItem>& allPhotos = {});

} // namespace kestrava::TrashGroupPlanner
