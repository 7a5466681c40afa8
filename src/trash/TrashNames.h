#pragma once

// File names that must fit the file system's limit of 255 bytes per name after Kestrava adds
// its own endings: the staging copy's ".partial", the Trash's ".trashinfo". A photo with a
// long but legal name is no reason to refuse it.

#include <QString>

namespace kestrava::TrashNames {

inline constexpr int maxNameBytes = 255;

// `name` when its UTF-8 form has at most `maxBytes` bytes; otherwise its stem cut at a
// character boundary, followed by "~" and eight hex digits derived from the whole name (so
// two long names sharing a beginning stay apart) and the original extension.
QString fitting(const QString& name, int maxBytes);

// A name for files/ of a Trash whose info file, NAME.trashinfo, fits as well.
QString forTrash(const QString& name);

// A name for the safety copy whose temporary NAME.partial fits as well.
QString forStaging(const QString& name);

} // namespace kestrava::TrashNames
