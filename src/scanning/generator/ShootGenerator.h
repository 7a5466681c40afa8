#pragma once

// Writes realistic synthetic camera shoots: real JPEG pictures with EXIF capture dates that
// advance through the shoot, RAW companions for part of the shots, day folders, names that
// need natural ordering (IMG_2 before IMG_10), mixed-case extensions, XMP sidecars, and the
// files a scan must pass over (hidden files, HEIC/PNG, an earlier result folder, a working
// folder). The same seed always gives the same names, dates and pixels.
// Nothing is ever overwritten: the target folder must be missing or empty.

#include "model/KestravaError.h"
#include "model/PhotoModel.h"

#include <QDateTime>
#include <QJsonObject>
#include <QSize>
#include <QStringList>

namespace kestrava::shootgen {

class ShootGeneratorError : public ErrorBase<ShootGeneratorError> {
public:
    enum class Kind { folderNotEmpty, cannotWrite };
    ShootGeneratorError(Kind kind, QString path) : kind_(kind), path_(std::move(path)) {}
    Kind kind() const { return kind_; }
    const QString& path() const { return path_; }
    QString description() const override;

private:
    Kind kind_;
    QString path_;
};

struct ShootOptions {
    int shots = 24;
    // Fraction of shots that also get a RAW file.
    double rawRatio = 0.5;
    quint64 seed = 1;
    // Modest by default; camera sizes such as 6000x4000 for preview benchmarks.
    QSize imageSize{640, 427};
    int jpegQuality = 85;
    // Hidden files, HEIC/PNG, text notes, result and working folders.
    bool distractors = true;
    // Bursts as cameras shoot them, 0.2 to 0.7 s from frame to frame, instead of a second or
    // two apart; off keeps every shoot generated so far as it was.
    bool rapidBursts = false;
};

struct GeneratedPhoto {
    QString relativePath;
    PhotoFormatGroup formatGroup = PhotoFormatGroup::other;
    // Local time, as written into EXIF with its subsecond tags; the file's modification time
    // is its whole second.
    QDateTime captureDate;
    int shot = 0;
};

struct ShootSummary {
    QString folder;
    quint64 seed = 0;
    int shots = 0;
    QList<GeneratedPhoto> photos; // every file a scan must return, in shot order
    QStringList sidecars;         // .xmp files beside photos
    QStringList ignored;          // files present that a scan must not return
    QStringList folders;          // day folders

    qsizetype jpegCount() const;
    qsizetype rawCount() const;
    QJsonObject toJson() const;
};

// Throws ShootGeneratorError.
ShootSummary generateShoot(const QString& directory, const ShootOptions& options);

// A large tree of empty files with photo names, for scan benchmarks: `folders` folders of
// `filesPerFolder` files, a `rawRatio` share of them RAW names. Returns the number of files.
qsizetype generateNameOnlyTree(const QString& directory, int folders, int filesPerFolder, double rawRatio, quint64 seed);

} // namespace kestrava::shootgen
