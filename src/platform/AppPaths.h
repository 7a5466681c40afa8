#pragma once

#include <QString>

namespace kestrava::AppPaths {

// $XDG_DATA_HOME (default ~/.local/share) + "/Kestrava/Sessions", created when missing.
// Both folder functions throw FileSystemError when the folder cannot be created.
QString sessionsFolder();
// $XDG_CACHE_HOME (default ~/.cache) + "/Kestrava/Previews", created when missing.
QString previewCacheFolder();
// $XDG_DATA_HOME or ~/.local/share, not created (the home trash lives below it).
QString dataHome();

} // namespace kestrava::AppPaths
