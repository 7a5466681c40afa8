#include "WindowPlacement.h"

#include <QScreen>
#include <QSettings>
#include <QWindow>

#include <algorithm>

namespace kestrava {

namespace {
const auto geometryKey = QStringLiteral("window/geometry");
}

QMargins WindowPlacement::assumedFrame()
{
    return QMargins(4, 32, 4, 4);
}

QRect WindowPlacement::fit(QSize content, std::optional<QPoint> corner, const QRect& available, const QSize& minimum,
                           const QMargins& frame)
{
    const QSize room = available.size().shrunkBy(frame);
    content.setWidth(std::max(std::min(content.width(), room.width()), minimum.width()));
    content.setHeight(std::max(std::min(content.height(), room.height()), minimum.height()));

    const QSize outer = content.grownBy(frame);
    QPoint topLeft = corner.value_or(available.center() - QPoint(outer.width() / 2, outer.height() / 2));
    // Right and bottom first: a frame larger than the screen keeps its title bar reachable.
    topLeft.setX(std::max(std::min(topLeft.x(), available.right() + 1 - outer.width()), available.left()));
    topLeft.setY(std::max(std::min(topLeft.y(), available.bottom() + 1 - outer.height()), available.top()));
    return QRect(topLeft, outer);
}

void WindowPlacement::restore(QWindow& window, QSettings& settings)
{
    const QScreen* screen = window.screen();
    if (!screen)
        return;
    QSize content = window.size();
    std::optional<QPoint> corner;
    const QRect stored = settings.value(geometryKey).toRect();
    if (stored.isValid()) {
        content = stored.size();
        // Only a corner on a screen still attached is kept; otherwise the window is centred.
        for (QScreen* candidate : screen->virtualSiblings()) {
            if (candidate->availableGeometry().contains(stored.topLeft())) {
                screen = candidate;
                corner = stored.topLeft();
                break;
            }
        }
    }
    const QMargins frame = assumedFrame();
    const QRect outer = fit(content, corner, screen->availableGeometry(), window.minimumSize(), frame);
    window.resize(outer.size().shrunkBy(frame));
    window.setFramePosition(outer.topLeft());
}

void WindowPlacement::save(const QWindow& window, QSettings& settings)
{
    if (window.windowStates() & (Qt::WindowMinimized | Qt::WindowMaximized | Qt::WindowFullScreen))
        return;
    settings.setValue(geometryKey, QRect(window.framePosition(), window.size()));
}

} // namespace kestrava
