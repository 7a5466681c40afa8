#pragma once

// What the sharpness and series commands share: the review groups of a folder and the focus
// scores of preview files, measured as the window measures them.

#include "model/PhotoModel.h"

#include <QHash>
#include <QList>
#include <optional>

namespace kestrava::cli {

// The window's preview size when it knows no screen; scores depend on the size.
inline constexpr int focusPreviewSize = 2048;

struct FolderGroups {
    QList<PhotoItem> photos;   // in review order
    QList<ReviewGroup> groups; // JPEG and RAW of a shot paired
};

// Throws KestravaError (with the German message) when the folder cannot be scanned.
FolderGroups reviewGroupsOf(const QString& folder);

// The path relative to the scanned folder of every photo, by its file.
QHash<FileUrl, QString> relativePaths(const QList<PhotoItem>& photos);

// The focus score of each file's preview, nullopt where none could be made; waits for all.
// The previews and maps are cached as the window caches them.
QList<std::optional<float>> sharpnessOf(const QList<FileUrl>& files);

} // namespace kestrava::cli
