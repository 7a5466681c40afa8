#pragma once

// Photo readers open only regular files. A FIFO named like a photo blocks an open for reading
// until a writer appears, and a device never ends, so both must be refused before a reader
// (Qt, Exiv2, LibRaw) touches them.

#include <QFile>
#include <QString>

namespace kestrava::preview {

// Whether `path` (links followed) is a regular file right now; false when it is missing.
bool isRegularFile(const QString& path);

// Whether something is at `path` that is not a regular file (a FIFO, a device, a folder).
bool existsButIsNotRegular(const QString& path);

// Opens `file` (whose name is set) for reading without ever blocking: the open does not wait
// for a FIFO's writer, and anything but a regular file is closed again and refused.
bool openRegularFile(QFile& file);

// The German message for a photo path that is not a regular file.
QString notRegularFileMessage(const QString& path);

} // namespace kestrava::preview
