#pragma once

// What may reach the Trash at all: only the session's own photos. A session document is a
// file a person (or a program) can edit; its paths are checked against the disk before
// anything is staged and again before anything is moved.

#include "TrashTypes.h"
#include "model/FileUrl.h"

#include <QStringList>
#include <optional>

namespace kestrava::TrashScope {

// Nullopt when `file` lies inside `sourceFolder` (its folder resolved to the real path, the
// file itself not followed if it is a link), is a regular file owned by this user, and is a
// photo the scanner accepts or the XMP sidecar of one beside it. Otherwise the German reason,
// naming the file.
std::optional<QString> refusal(const FileUrl& file, const QString& sourceFolder);

// The refusals for the entries of `preparation` still waiting for the move (staged or
// deferred), in entry order.
QStringList refusals(const TrashPreparation& preparation, const QString& sourceFolder);

} // namespace kestrava::TrashScope
