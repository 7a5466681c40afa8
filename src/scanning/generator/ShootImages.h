#pragma once

// The picture content of a synthetic shoot (library-internal).

#include <QByteArray>
#include <QDateTime>
#include <QImage>
#include <QString>

namespace kestrava::shootgen {

struct CameraTags {
    QString make;
    QString model;
    QDateTime captureDate; // local time
    int subSecond = 0;     // hundredths
};

// A seeded scene: gradient background, a handful of shapes and sensor-like noise.
QImage renderScene(QSize size, quint64 seed);

// A JPEG of `picture` with the EXIF capture dates (DateTimeOriginal, DateTimeDigitized,
// DateTime), each with its subsecond tag, camera make and model. Empty on failure.
QByteArray jpegWithExif(const QImage& picture, int quality, const CameraTags& tags);

struct RawCompanionSpec {
    QString extension; // as in the file name, e.g. "CR3" or "nef"
    CameraTags tags;
    quint64 seed = 0;
};

// The one place RAW companion files are produced; currently recognisable placeholder bytes of
// varying length, not decodable raw data.
QByteArray rawCompanionBytes(const RawCompanionSpec& companion);

} // namespace kestrava::shootgen
