#include "SeededRandom.h"
#include "ShootImages.h"

#include <algorithm>
#include <cmath>

namespace kestrava::shootgen {

namespace {

QRgb blend(QRgb under, QRgb over, int alpha)
{
    const auto mix = [alpha](int a, int b) { return a + ((b - a) * alpha) / 255; };
    return qRgb(mix(qRed(under), qRed(over)), mix(qGreen(under), qGreen(over)), mix(qBlue(under), qBlue(over)));
}

QRgb randomColour(SeededRandom& random)
{
    return qRgb(random.between(0, 255), random.between(0, 255), random.between(0, 255));
}

} // namespace

QImage renderScene(QSize size, quint64 seed)
{
    QImage image(size, QImage::Format_RGB32);
    if (image.isNull())
        return image;
    SeededRandom random(seed);
    const int width = size.width();
    const int height = size.height();

    // Background: a linear gradient at a random angle, so neighbouring shots differ visibly.
    const QRgb from = randomColour(random);
    const QRgb to = randomColour(random);
    const double angle = random.unit() * 2.0 * M_PI;
    const double dx = std::cos(angle);
    const double dy = std::sin(angle);
    const double span = std::abs(dx) * width + std::abs(dy) * height;
    const double origin = std::min(0.0, dx * width) + std::min(0.0, dy * height);
    for (int y = 0; y < height; ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < width; ++x) {
            const int t = int(255.0 * ((dx * x + dy * y - origin) / span));
            line[x] = blend(from, to, std::clamp(t, 0, 255));
        }
    }

    // Shapes: half-transparent ellipses and rectangles, drawn only inside their bounds.
    const int shapes = random.between(3, 8);
    for (int s = 0; s < shapes; ++s) {
        const QRgb colour = randomColour(random);
        const int alpha = random.between(90, 220);
        const int w = std::max(1, int(width * (0.1 + 0.4 * random.unit())));
        const int h = std::max(1, int(height * (0.1 + 0.4 * random.unit())));
        const int left = random.between(-w / 2, width - w / 2);
        const int top = random.between(-h / 2, height - h / 2);
        const bool ellipse = random.chance(0.5);
        const double cx = left + w / 2.0, cy = top + h / 2.0, rx = w / 2.0, ry = h / 2.0;
        for (int y = std::max(0, top); y < std::min(height, top + h); ++y) {
            auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
            for (int x = std::max(0, left); x < std::min(width, left + w); ++x) {
                if (ellipse) {
                    const double ex = (x + 0.5 - cx) / rx, ey = (y + 0.5 - cy) / ry;
                    if (ex * ex + ey * ey > 1.0)
                        continue;
                }
                line[x] = blend(line[x], colour, alpha);
            }
        }
    }

    // Noise keeps the JPEG from compressing into a few bytes, as real sensor data would.
    const int amplitude = random.between(4, 12);
    SeededRandom noise(random.next());
    for (int y = 0; y < height; ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < width; ++x) {
            const quint64 bits = noise.next();
            const auto jitter = [&](int value, int shift) {
                return std::clamp(value + int((bits >> shift) % quint64(2 * amplitude + 1)) - amplitude, 0, 255);
            };
            const QRgb p = line[x];
            line[x] = qRgb(jitter(qRed(p), 0), jitter(qGreen(p), 16), jitter(qBlue(p), 32));
        }
    }
    return image;
}

} // namespace kestrava::shootgen
