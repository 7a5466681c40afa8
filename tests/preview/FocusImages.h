#pragma once

// Pictures with known sharpness for the focus tests and benchmarks.

#include <QImage>
#include <QRect>

namespace kestrava::test {

// Fine detail of even density everywhere: a seeded pattern of small light and dark
// rectangles over a gentle gradient.
QImage detailedScene(QSize size, quint32 seed = 7);

// `image` softened like a lens out of focus: shrunk by `factor` and enlarged back, smoothly.
QImage softened(const QImage& image, int factor);

// `image` under a Gaussian blur of standard deviation `sigma` pixels (RGB32 result).
QImage gaussianBlurred(const QImage& image, double sigma);

// `background` with the pixels of `sharp` inside `region` pasted over it.
QImage pasted(const QImage& background, const QImage& sharp, const QRect& region);

} // namespace kestrava::test
