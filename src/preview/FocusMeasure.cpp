#include "FocusMeasure.h"

#include <QColor>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <vector>

namespace kestrava {

namespace {

// Share of the tiles, the sharpest first, that make the score.
constexpr double sharpestShare = 0.10;

// How many of `tiles` tiles that share is: the score's, and the tiles peaking looks at.
std::size_t sharpestTileCount(std::size_t tiles)
{
    return std::max<std::size_t>(1, std::size_t(std::ceil(double(tiles) * sharpestShare)));
}
// Peaking marks a pixel when its Laplacian exceeds both this floor (on 0...255 luminance) and
// this multiple of the sharpest tiles' Laplacian deviation.
constexpr int peakingFloor = 32;
constexpr double peakingDeviations = 1.5;

// Marks are drawn in whichever of these stands out most against the detail they mark: red
// vanishes on a red telephone box, green on foliage. The first wins where none is in the way.
constexpr std::array<QRgb, 3> peakingPalette = {0xffff2020u, 0xff20eb40u, 0xff00c8ffu};
// A colourful pixel within this many degrees of hue hides a mark of that hue, less the further
// off. Below this saturation a pixel reads as grey and hides none.
constexpr double hidingHueDistance = 75;
constexpr float hidingSaturation = 0.3f;

double hueDistance(double a, double b)
{
    const double d = std::fabs(a - b);
    return std::min(d, 360 - d);
}

// Looks at the sharpest tenth of the tiles, where the marks will be, weighing every fourth
// pixel in every fourth row by how colourful and bright it is, and takes the palette's colour
// those pixels hide least. Known before the marks are drawn, so each overlay pixel is written once.
QRgb peakingColourAgainst(const QImage& image, const FocusMap& focus)
{
    constexpr int sampleStep = 4;
    std::array<double, peakingPalette.size()> hidden {};
    std::array<double, peakingPalette.size()> paletteHue {};
    for (std::size_t i = 0; i < peakingPalette.size(); ++i)
        paletteHue[i] = QColor::fromRgb(peakingPalette[i]).hsvHueF() * 360;
    std::vector<float> sorted(focus.values.cbegin(), focus.values.cend());
    if (sorted.empty())
        return peakingPalette[0];
    const std::size_t take = sharpestTileCount(sorted.size());
    std::nth_element(sorted.begin(), sorted.begin() + std::ptrdiff_t(take - 1), sorted.end(), std::greater<>());
    const float sharpEnough = sorted[take - 1];
    const int columns = focus.tiles.width();
    const int rows = focus.tiles.height();
    for (int row = 0; row < rows; ++row) {
        for (int column = 0; column < columns; ++column) {
            if (focus.at(column, row) < sharpEnough)
                continue;
            // The last column and row take the remainder of the image.
            const int right = column + 1 == columns ? image.width() : (column + 1) * focus.tileSize;
            const int bottom = row + 1 == rows ? image.height() : (row + 1) * focus.tileSize;
            for (int y = row * focus.tileSize; y < bottom; y += sampleStep) {
                for (int x = column * focus.tileSize; x < right; x += sampleStep) {
                    float hue = 0, saturation = 0, value = 0;
                    QColor::fromRgb(image.pixel(x, y)).getHsvF(&hue, &saturation, &value);
                    if (hue < 0 || saturation < hidingSaturation)
                        continue;
                    for (std::size_t i = 0; i < peakingPalette.size(); ++i)
                        hidden[i] += saturation * value
                            * std::max(0.0, 1 - hueDistance(hue * 360, paletteHue[i]) / hidingHueDistance);
                }
            }
        }
    }
    return peakingPalette[std::size_t(std::min_element(hidden.cbegin(), hidden.cend()) - hidden.cbegin())];
}

// Luminance rows of 0...255, whatever the image's format.
class LumaRows {
public:
    explicit LumaRows(const QImage& image) : image_(image)
    {
        switch (image_.format()) {
        case QImage::Format_RGB32:
        case QImage::Format_ARGB32:
        case QImage::Format_ARGB32_Premultiplied:
        case QImage::Format_Grayscale8:
        case QImage::Format_RGB888:
            break;
        default:
            image_ = image_.convertToFormat(QImage::Format_RGB32);
        }
    }
    int width() const { return image_.width(); }
    int height() const { return image_.height(); }

    void read(int y, std::uint8_t* out) const
    {
        const int w = image_.width();
        const uchar* line = image_.constScanLine(y);
        switch (image_.format()) {
        case QImage::Format_Grayscale8:
            std::copy(line, line + w, out);
            break;
        case QImage::Format_RGB888:
            for (int x = 0; x < w; ++x)
                out[x] = std::uint8_t((77 * line[3 * x] + 150 * line[3 * x + 1] + 29 * line[3 * x + 2]) >> 8);
            break;
        default: {
            // Premultiplied pixels count as they look over black, which is how they are shown.
            const QRgb* pixels = reinterpret_cast<const QRgb*>(line);
            for (int x = 0; x < w; ++x) {
                const QRgb p = pixels[x];
                out[x] = std::uint8_t((77 * int(qRed(p)) + 150 * int(qGreen(p)) + 29 * int(qBlue(p))) >> 8);
            }
        }
        }
    }

private:
    QImage image_;
};

// Calls `sink(y, laplacian)` for every row y = 1 ... height - 2 with the 4-neighbour Laplacian
// of that row; entries 0 and width - 1 are 0. Three luminance rows are kept, never the whole
// picture, so a 2048 px preview stays in the processor's cache.
void forEachLaplacianRow(const LumaRows& luma, const std::function<void(int, const std::int16_t*)>& sink)
{
    const int w = luma.width();
    const int h = luma.height();
    std::vector<std::uint8_t> rows[3] = {std::vector<std::uint8_t>(std::size_t(w)), std::vector<std::uint8_t>(std::size_t(w)),
                                         std::vector<std::uint8_t>(std::size_t(w))};
    std::vector<std::int16_t> laplacian(std::size_t(w), 0);
    luma.read(0, rows[0].data());
    luma.read(1, rows[1].data());
    for (int y = 1; y + 1 < h; ++y) {
        const std::uint8_t* up = rows[(y - 1) % 3].data();
        const std::uint8_t* centre = rows[y % 3].data();
        std::uint8_t* down = rows[(y + 1) % 3].data();
        luma.read(y + 1, down);
        std::int16_t* out = laplacian.data();
        for (int x = 1; x + 1 < w; ++x)
            out[x] = std::int16_t(4 * centre[x] - centre[x - 1] - centre[x + 1] - up[x] - down[x]);
        sink(y, out);
    }
}

// Tiles cover the picture in whole tiles; the last column and row take the remainder, so no
// sliver of a few pixels gets a variance of its own.
int tileCount(int length, int tileSize)
{
    return std::max(1, length / tileSize);
}

} // namespace

FocusMap measureFocus(const QImage& image)
{
    FocusMap map;
    if (image.width() < 3 || image.height() < 3)
        return map;
    const LumaRows luma(image);
    const int w = luma.width();
    const int h = luma.height();
    map.imageSize = QSize(w, h);
    map.tileSize = std::max(16, std::max(w, h) / 32);
    const int columns = tileCount(w, map.tileSize);
    const int rows = tileCount(h, map.tileSize);
    map.tiles = QSize(columns, rows);

    std::vector<int> columnStart(std::size_t(columns) + 1);
    for (int c = 0; c < columns; ++c)
        columnStart[std::size_t(c)] = std::max(1, c * map.tileSize);
    columnStart[std::size_t(columns)] = w - 1;

    std::vector<std::int64_t> sums(std::size_t(columns) * rows, 0);
    std::vector<std::int64_t> squares(sums.size(), 0);
    std::vector<std::int64_t> counts(sums.size(), 0);
    forEachLaplacianRow(luma, [&](int y, const std::int16_t* laplacian) {
        const int row = std::min(y / map.tileSize, rows - 1);
        for (int c = 0; c < columns; ++c) {
            const int begin = columnStart[std::size_t(c)];
            const int end = columnStart[std::size_t(c) + 1];
            const std::size_t tile = std::size_t(row) * columns + c;
            // Summed in 32 bits, which vectorises well, over runs short enough that 1020²
            // per pixel cannot overflow; a tile of a preview is a single run.
            constexpr int run = 1024;
            for (int from = begin; from < end; from += run) {
                std::int32_t sum = 0;
                std::int32_t square = 0;
                const int to = std::min(end, from + run);
                for (int x = from; x < to; ++x) {
                    const std::int32_t v = laplacian[x];
                    sum += v;
                    square += v * v;
                }
                sums[tile] += sum;
                squares[tile] += square;
            }
            counts[tile] += std::max(0, end - begin);
        }
    });

    map.values.resize(qsizetype(sums.size()));
    for (std::size_t tile = 0; tile < sums.size(); ++tile) {
        if (counts[tile] == 0)
            continue;
        const double n = double(counts[tile]);
        const double mean = double(sums[tile]) / n;
        map.values[qsizetype(tile)] = float(std::max(0.0, double(squares[tile]) / n - mean * mean));
    }
    std::vector<float> sorted(map.values.cbegin(), map.values.cend());
    const std::size_t take = sharpestTileCount(sorted.size());
    std::partial_sort(sorted.begin(), sorted.begin() + std::ptrdiff_t(take), sorted.end(), std::greater<>());
    double total = 0;
    for (std::size_t i = 0; i < take; ++i)
        total += sorted[i];
    map.score = float(total / double(take));
    return map;
}

QImage focusPeaking(const QImage& image, const FocusMap& focus, QColor colour)
{
    QImage overlay(image.size(), QImage::Format_ARGB32_Premultiplied);
    if (overlay.isNull())
        return overlay;
    const int w = overlay.width();
    const int h = overlay.height();
    if (w < 3 || h < 3) {
        overlay.fill(Qt::transparent);
        return overlay;
    }
    const FocusMap measured = focus.isValid() && focus.imageSize == image.size() ? focus : measureFocus(image);
    const int threshold = std::max(peakingFloor, int(std::lround(peakingDeviations * std::sqrt(double(measured.score)))));
    const QRgb mark = colour.isValid() ? qPremultiply(colour.rgba()) : peakingColourAgainst(image, measured);
    // Every pixel is written exactly once: filling the overlay first would cost another pass
    // over its 11 MB at 2048 px.
    std::fill_n(reinterpret_cast<QRgb*>(overlay.scanLine(0)), w, QRgb(0));
    std::fill_n(reinterpret_cast<QRgb*>(overlay.scanLine(h - 1)), w, QRgb(0));
    forEachLaplacianRow(LumaRows(image), [&](int y, const std::int16_t* laplacian) {
        QRgb* out = reinterpret_cast<QRgb*>(overlay.scanLine(y));
        out[0] = 0;
        out[w - 1] = 0;
        for (int x = 1; x + 1 < w; ++x)
            out[x] = (laplacian[x] > threshold || laplacian[x] < -threshold) ? mark : QRgb(0);
    });
    return overlay;
}

} // namespace kestrava
