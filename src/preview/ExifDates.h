#pragma once

// Capture dates recorded inside image files.

#include <QDateTime>
#include <QString>
#include <optional>

namespace kestrava {

// The first of Exif.Photo.DateTimeOriginal, Exif.Photo.DateTimeDigitized and
// Exif.Image.DateTime that parses, as local wall-clock time (EXIF times carry no zone).
// nullopt for unreadable files, files without those tags, and dates in another format.
// Safe to call from several threads at once.
std::optional<QDateTime> readCaptureDate(const QString& path);

// "yyyy:MM:dd HH:mm:ss" in the computer's time zone; trailing NULs and blanks are ignored.
std::optional<QDateTime> parseExifDateTime(const QString& text);

} // namespace kestrava
