#pragma once

// How sharp a preview is, and where.
//
// The measure is the variance of the Laplacian of the luminance, taken per square tile: a tile
// with crisp detail has strong second differences, a defocused or shaken one has little. The
// score of the whole picture is the mean of its sharpest tenth of tiles, so a sharp subject in
// front of a soft background counts as sharp, while a frame that is soft everywhere does not.
// Scores compare frames of the same scene at the same preview size (a burst); across scenes
// they say little, as subject contrast enters them too.

#include <QColor>
#include <QImage>
#include <QList>
#include <QSize>

namespace kestrava {

struct FocusMap {
    QSize imageSize;     // the preview the map was measured on
    int tileSize = 0;    // side of a tile in preview pixels; edge tiles may be smaller
    QSize tiles;         // columns × rows
    QList<float> values; // per tile, row by row: variance of the Laplacian (0...~1e6)
    float score = 0;     // higher is sharper

    bool isValid() const { return !values.isEmpty(); }
    float at(int column, int row) const { return values[qsizetype(row) * tiles.width() + column]; }
    friend bool operator==(const FocusMap&, const FocusMap&) = default;
};

// Pure; safe on any thread. Any image format; images narrower or lower than 3 pixels give an
// invalid map with score 0. Tiles are 1/32 of the longer side, at least 16 pixels.
FocusMap measureFocus(const QImage& image);

// The in-focus edges of `image` for an overlay: a transparent image of the same size
// (Format_ARGB32_Premultiplied) with `colour` on every pixel whose Laplacian stands out, both
// against a fixed floor (so a frame soft everywhere shows nothing) and against the sharpest
// tiles of `focus`, the map of this image (so only the crispest detail lights up). Without a
// valid map it is measured first. Without a valid `colour`, the marks take red, green or
// cyan, whichever the colours of the sharpest tiles hide least.
QImage focusPeaking(const QImage& image, const FocusMap& focus = {}, QColor colour = QColor());

} // namespace kestrava
