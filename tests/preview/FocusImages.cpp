#include "FocusImages.h"

#include <QPainter>
#include <QRandomGenerator>

#include <algorithm>
#include <cmath>
#include <vector>

namespace kestrava::test {

QImage detailedScene(QSize size, quint32 seed)
{
    QImage image(size, QImage::Format_RGB32);
    QPainter painter(&image);
    QLinearGradient gradient(0, 0, size.width(), size.height());
    gradient.setColorAt(0, QColor(90, 95, 110));
    gradient.setColorAt(1, QColor(160, 150, 140));
    painter.fillRect(image.rect(), gradient);
    QRandomGenerator random(seed);
    const int count = size.width() * size.height() / 40;
    for (int i = 0; i < count; ++i) {
        const int v = random.bounded(2) ? random.bounded(0, 60) : random.bounded(196, 256);
        painter.fillRect(random.bounded(size.width()), random.bounded(size.height()), 1 + random.bounded(4), 1 + random.bounded(4),
                         QColor(v, v, v));
    }
    return image;
}

QImage softened(const QImage& image, int factor)
{
    return image.scaled(image.size() / factor, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
        .scaled(image.size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
        .convertToFormat(QImage::Format_RGB32);
}

QImage gaussianBlurred(const QImage& image, double sigma)
{
    const int radius = std::max(1, int(std::ceil(3 * sigma)));
    std::vector<double> kernel(std::size_t(2 * radius + 1));
    double total = 0;
    for (int i = -radius; i <= radius; ++i)
        total += kernel[std::size_t(i + radius)] = std::exp(-(i * i) / (2 * sigma * sigma));
    for (double& k : kernel)
        k /= total;
    // Two passes, along rows then along columns, each clamping at the border.
    const auto pass = [&](const QImage& in, bool horizontal) {
        QImage out(in.size(), QImage::Format_RGB32);
        for (int y = 0; y < in.height(); ++y)
            for (int x = 0; x < in.width(); ++x) {
                double r = 0, g = 0, b = 0;
                for (int i = -radius; i <= radius; ++i) {
                    const int sx = horizontal ? std::clamp(x + i, 0, in.width() - 1) : x;
                    const int sy = horizontal ? y : std::clamp(y + i, 0, in.height() - 1);
                    const QRgb p = reinterpret_cast<const QRgb*>(in.constScanLine(sy))[sx];
                    const double k = kernel[std::size_t(i + radius)];
                    r += k * qRed(p);
                    g += k * qGreen(p);
                    b += k * qBlue(p);
                }
                reinterpret_cast<QRgb*>(out.scanLine(y))[x] = qRgb(int(std::lround(r)), int(std::lround(g)), int(std::lround(b)));
            }
        return out;
    };
    return pass(pass(image.convertToFormat(QImage::Format_RGB32), true), false);
}

QImage pasted(const QImage& background, const QImage& sharp, const QRect& region)
{
    QImage result = background.convertToFormat(QImage::Format_RGB32);
    QPainter painter(&result);
    painter.drawImage(region.topLeft(), sharp, region);
    return result;
}

} // namespace kestrava::test
