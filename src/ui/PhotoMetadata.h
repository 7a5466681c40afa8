#pragma once

// What the inspector shows about the photo on screen, read with Exiv2, and how each value is
// written for a German reader ("f/2,8", "1/250 s", "50 mm").

#include <QDateTime>
#include <QList>
#include <QSize>
#include <QString>
#include <optional>

namespace kestrava::PhotoMetadata {

struct Details {
    QDateTime captureDate; // local time as the camera wrote it; invalid when absent
    QString camera;        // make and model, the make left out when the model repeats it
    QString lens;
    std::optional<double> focalLength;  // millimetres
    std::optional<double> aperture;     // f-number
    std::optional<double> exposureTime; // seconds
    std::optional<int> iso;
    QSize pixelSize;
};

struct Line {
    QString label;
    QString value;
};

// Blocking: call off the GUI thread. Unreadable files give empty details, never an exception.
Details read(const QString& path);

// The inspector's lines in a fixed order; a missing value shows "–".
QList<Line> lines(const Details& details);

QString cameraName(const QString& make, const QString& model);
QString formatAperture(double fNumber);
QString formatExposureTime(double seconds);
QString formatFocalLength(double millimetres);
QString formatPixelSize(QSize size);

} // namespace kestrava::PhotoMetadata
