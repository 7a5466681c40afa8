#pragma once

// Capture dates recorded inside image files.

#include <QDateTime>
#include <QString>
#include <optional>

namespace kestrava {

// The first of Exif.Photo.DateTimeOriginal, Exif.Photo.DateTimeDigitized and
// Exif.Image.DateTime that parses, as local wall-clock time (EXIF times carry no zone), with
// the milliseconds of the subsecond tag belonging to that date (SubSecTimeOriginal,
// SubSecTimeDigitized, SubSecTime) when it holds digits; otherwise on the whole second.
// nullopt for unreadable files, files without those tags, and dates in another format.
// Safe to call from several threads at once.
std::optional<QDateTime> readCaptureDate(const QString& path);

// "yyyy:MM:dd HH:mm:ss" in the computer's time zone; trailing NULs and blanks are ignored.
std::optional<QDateTime> parseExifDateTime(const QString& text);

// A subsecond tag as milliseconds: its digits are a decimal fraction of a second, so "5" is
// 500, "92" is 920 and "123456" is 123. Blanks and NULs around them are ignored; nullopt when
// nothing else but digits remains, or nothing at all.
std::optional<int> parseExifSubsecond(const QString& text);

} // namespace kestrava
