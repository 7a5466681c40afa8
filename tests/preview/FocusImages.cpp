#include "FocusImages.h"

#include <QPainter>
#include <QRandomGenerator>

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

QImage pasted(const QImage& background, const QImage& sharp, const QRect& region)
{
    QImage result = background.convertToFormat(QImage::Format_RGB32);
    QPainter painter(&result);
    painter.drawImage(region.topLeft(), sharp, region);
    return result;
}

} // namespace kestrava::test
