#pragma once

// Finds the XMP sidecar beside a photo on disk. One listing per folder per plan: thousands of
// photos usually share one folder.

#include <QHash>
#include <QString>
#include <QStringList>

#include <optional>

namespace kestrava::ResumableSortExecutor {

class SidecarFinder {
public:
    // The one regular (not linked) .xmp file whose pairing key is the photo's. None when there
    // is none or more than one: which of two would be the photo's is not for a run to guess,
    // and both then stay where they are.
    std::optional<QString> sidecarOf(const QString& photoPath);

private:
    QHash<QString, QHash<QString, QStringList>> byFolder_;
};

} // namespace kestrava::ResumableSortExecutor
