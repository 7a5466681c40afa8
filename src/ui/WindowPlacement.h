#pragma once

// Where the main window opens: where the user left it, at the size they left it, but never
// larger than the screen it opens on and never out of reach. The place is kept in QSettings
// under "window/geometry" as the frame's top-left corner and the content's size.

#include <QMargins>
#include <QRect>

#include <optional>

class QSettings;
class QWindow;

namespace kestrava {

class WindowPlacement {
public:
    // A window frame's size before the window manager has drawn one (a title bar and thin
    // borders); the real margins are taken once the window has been shown.
    static QMargins assumedFrame();

    // The frame rectangle to open with, given the content size wanted and, when known, the
    // frame's top-left corner: shrunk so that content and frame fit `available`, never below
    // `minimum` (a minimum larger than the screen is the one case that may not fit), and moved
    // so that the whole frame lies inside `available`; centred without a corner.
    static QRect fit(QSize content, std::optional<QPoint> corner, const QRect& available, const QSize& minimum,
                     const QMargins& frame);

    // Places `window` from the stored geometry (or centres its own size) on the screen it
    // opens on. Call before the window is shown.
    static void restore(QWindow& window, QSettings& settings);
    // Stores the window's current place; nothing for a minimised or maximised window's
    // transient size, whose normal size is what the next start should get.
    static void save(const QWindow& window, QSettings& settings);
};

} // namespace kestrava
