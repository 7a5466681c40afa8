#pragma once

// Whether the destination volume has room for what a run will write. Stateless; never throws:
// an unreadable volume yields an estimate that is not sufficient.

#include "model/PhotoModel.h"
#include "model/SortOptions.h"
#include "session/SortSession.h"

#include <QMap>
#include <optional>

namespace kestrava {

struct StorageEstimate {
    qint64 requiredBytes = 0;               // still to be written on the destination volume
    qint64 reserveBytes = 0;                // safety margin on top
    std::optional<qint64> availableBytes;   // none when the volume could not be inspected
    bool sameVolumeMove = false;            // every counted photo moves within the destination volume
    bool isSufficient = false;
    QString message;                        // German line for the setup and confirmation screens

    friend bool operator==(const StorageEstimate&, const StorageEstimate&) = default;
};

namespace StoragePreflight {

// Counts the photos that would get an action in `options.operationMode`. Photos whose record
// shows them completed need nothing more; in the moving modes a photo already on the
// destination volume is a rename and needs no space (decided per photo, so a run with sources
// on several volumes is summed correctly).
StorageEstimate estimate(const QList<PhotoItem>& items, const SortOptions& options,
                         const QMap<QString, ExecutionRecord>& existingRecords);

// Reserve: 5 % of the requirement, at least 1 GiB, added even when nothing is required.
StorageEstimate evaluate(qint64 requiredBytes, std::optional<qint64> availableBytes, bool sameVolumeMove);

// Free space for this user on the volume of the closest existing ancestor of `url`.
std::optional<qint64> availableCapacity(const FileUrl& url);

// "<uuid>@<mount point>" of the volume holding the closest existing ancestor; empty when unknown.
QString volumeIdentity(const FileUrl& url);

// `url` when it exists, otherwise its nearest existing parent (the result folder usually does
// not exist before the run).
FileUrl closestExistingAncestor(const FileUrl& url);

// The recorded size when above 0, else the size on disk now, else 0.
qint64 effectiveSize(const PhotoItem& item);

} // namespace StoragePreflight

} // namespace kestrava
