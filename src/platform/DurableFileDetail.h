#pragma once

// Internal to the platform library: what the two halves of DurableFile.h (DurableFile.cpp and
// ExclusiveRename.cpp) share.

#include "FileSystemError.h"

#include <QByteArray>
#include <QFile>
#include <QString>

namespace kestrava::detail {

[[noreturn]] inline void fail(FileSystemError::Operation operation, const QString& path, int errorNumber)
{
    throw FileSystemError(operation, path, errorNumber);
}

inline QByteArray encoded(const QString& path)
{
    return QFile::encodeName(path);
}

} // namespace kestrava::detail
